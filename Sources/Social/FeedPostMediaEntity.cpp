// Feed media records.
#include "Social/FeedPostMediaEntity.h"

#include "Platform/Foundation/Directories.h"
#include "Profile/MediaAddresses.h"

namespace dm {

double FeedPostMediaEntity::aspectRatio() const {
  if (width() == 0 || height() == 0) return 0;
  return height() / width();
}

std::string fileUrlForPath(const std::string& path) {
  return "file://" + path;
}

std::string FeedPostMediaEntity::localFileUrl() const {
  return fileUrlForPath((Directories::shared()->documentsDirectory() / mediaUrl()).string());
}

std::string FeedPostMediaEntity::previewURL() const {
  return isUploaded() ? MediaAddresses::shared()->thumbnailAddress(mediaUrl()) : localFileUrl();
}

std::string FeedPostMediaEntity::fullMediaURLString() const {
  return isUploaded() ? mediaUrl() : localFileUrl();
}

}  // namespace dm
