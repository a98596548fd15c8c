// A photo on a user's profile (or an achievement photo), ordered by its sequence.
#pragma once

#include <optional>
#include <string>

#include "Mapping/EntityStatus.h"
#include "Profile/ProfileCommonPhotoEntityGenerated.h"

namespace dm {

// Threads and ownership as ManagedObject. Stored fields, typed accessors and class operations
// come from the store model (ProfileCommonPhotoEntityGenerated); this class adds the behaviour.
class ProfileCommonPhotoEntity : public ProfileCommonPhotoEntityGenerated {
 public:
  // `photo` as it stands ("" when absent).
  std::string absoluteUrl() const;
  // The thumbnail address of `photo` from the media-address service; "" when none.
  std::string thumbUrl() const;
  EntityStatus status() const { return entityStatus(); }

  // A picture held in memory before upload; never stored. The handle is the host's.
  const std::string& image() const { return image_; }
  void setImage(std::string image) { image_ = std::move(image); }

 private:
  std::string image_;
};

}  // namespace dm
