// One like (or, through subclasses, a dislike) of a post with the liking user's name.
#pragma once

#include <string>
#include <string_view>

#include "Social/FeedPostLikeEntityGenerated.h"

namespace dm {

// Threads and ownership as ManagedObject: use on the owning context's queue.
class FeedPostLikeEntity : public FeedPostLikeEntityGenerated {
 public:
  // First and last name in the order of the interface language (last name first for
  // Japanese, Vietnamese, Korean and simplified Chinese); whichever is given alone.
  std::string fullName() const;
  std::string thumbAvatarUrl() const;
  std::string smallThumbAvatarUrl() const;
};

// The same name rule for explicit parts and a language code.
std::string likeDisplayName(const std::string& firstName, const std::string& lastName,
                            std::string_view language);

}  // namespace dm
