// Feed media records.
#include "Social/FeedPostMediaEntity.h"

#include <fstream>
#include <iterator>

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

std::optional<std::string> FeedPostMediaEntity::data() const {
  static constexpr std::string_view kFileScheme = "file://";
  std::string address = fullMediaURLString();
  if (address.rfind(kFileScheme, 0) != 0) return std::nullopt;
  std::ifstream file(address.substr(kFileScheme.size()), std::ios::binary);
  if (!file) return std::nullopt;
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

}  // namespace dm
