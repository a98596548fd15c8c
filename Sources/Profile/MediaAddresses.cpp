// The default media-address rules and the process-wide service slot.
#include "Profile/MediaAddresses.h"

#include <mutex>

namespace dm {

namespace {

std::mutex& sharedMutex() {
  static std::mutex mutex;
  return mutex;
}

std::shared_ptr<const MediaAddresses>& sharedSlot() {
  static std::shared_ptr<const MediaAddresses> slot;
  return slot;
}

bool hasScheme(std::string_view path) {
  auto colon = path.find("://");
  return colon != std::string_view::npos && colon > 0;
}

}  // namespace

std::shared_ptr<const MediaAddresses> MediaAddresses::shared() {
  std::lock_guard lock(sharedMutex());
  if (!sharedSlot()) sharedSlot() = std::make_shared<PathMediaAddresses>();
  return sharedSlot();
}

void MediaAddresses::setShared(std::shared_ptr<const MediaAddresses> service) {
  std::lock_guard lock(sharedMutex());
  sharedSlot() = std::move(service);
}

PathMediaAddresses::PathMediaAddresses(std::string baseAddress) : base_(std::move(baseAddress)) {}

std::string PathMediaAddresses::resolved(std::string_view path, std::string_view prefix) const {
  if (path.empty()) return {};
  std::string address;
  if (hasScheme(path) || base_.empty()) {
    address = std::string(path);
  } else {
    // Exactly one slash between base and path.
    std::string_view rest = path;
    while (!rest.empty() && rest.front() == '/') rest.remove_prefix(1);
    address = base_;
    if (address.back() != '/') address += '/';
    address += rest;
  }
  if (prefix.empty()) return address;
  // The file name starts after the last slash that is not part of "scheme://".
  std::size_t start = 0;
  if (auto scheme = address.find("://"); scheme != std::string::npos) start = scheme + 3;
  auto slash = address.rfind('/');
  // No file name (a bare host or a directory): no thumbnail can be named.
  if (slash == std::string::npos ? start > 0 : slash < start) return {};
  std::size_t name = slash == std::string::npos ? 0 : slash + 1;
  if (name >= address.size()) return {};
  address.insert(name, prefix);
  return address;
}

std::string PathMediaAddresses::fullAddress(std::string_view path) const {
  return resolved(path, {});
}

std::string PathMediaAddresses::thumbnailAddress(std::string_view path) const {
  return resolved(path, "thumb_");
}

std::string PathMediaAddresses::smallThumbnailAddress(std::string_view path) const {
  return resolved(path, "small_thumb_");
}

}  // namespace dm
