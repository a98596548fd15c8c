// Like records.
#include "Social/FeedPostLikeEntity.h"

#include "Platform/Foundation/LocaleServices.h"
#include "Profile/MediaAddresses.h"

namespace dm {

std::string likeDisplayName(const std::string& firstName, const std::string& lastName,
                            std::string_view language) {
  if (!firstName.empty() && !lastName.empty()) {
    bool lastNameFirst =
        language == "ja" || language == "vi" || language == "ko" || language == "zh-Hans";
    return lastNameFirst ? lastName + " " + firstName : firstName + " " + lastName;
  }
  return firstName.empty() ? lastName : firstName;
}

std::string FeedPostLikeEntity::fullName() const {
  return likeDisplayName(firstName(), lastName(), currentInterfaceLanguage());
}

std::string FeedPostLikeEntity::thumbAvatarUrl() const {
  return MediaAddresses::shared()->thumbnailAddress(avatarUrl());
}

std::string FeedPostLikeEntity::smallThumbAvatarUrl() const {
  return MediaAddresses::shared()->smallThumbnailAddress(avatarUrl());
}

}  // namespace dm
