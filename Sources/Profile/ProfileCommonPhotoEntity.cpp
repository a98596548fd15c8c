// Profile photo records and their addresses.
#include "Profile/ProfileCommonPhotoEntity.h"

#include "Profile/MediaAddresses.h"

namespace dm {

std::string ProfileCommonPhotoEntity::absoluteUrl() const {
  return photo();
}

std::string ProfileCommonPhotoEntity::thumbUrl() const {
  return MediaAddresses::shared()->thumbnailAddress(photo());
}

}  // namespace dm
