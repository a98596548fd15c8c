// Relocatable cache file URLs.
#include "UserData/CoreData/CachePathFixes.h"

#include "Platform/Foundation/Directories.h"

namespace dm {
namespace {

constexpr std::string_view kFileScheme = "file://";

std::string cachesPath() {
  std::string path =
      Directories::expandTildeInPath(Directories::shared()->cachesDirectory().string());
  // The directory is compared as a prefix, so a trailing separator would break the match.
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

}  // namespace

std::string fixIfAbsoluteFilePath(std::string_view text, std::string_view caches) {
  if (!text.starts_with(kFileScheme)) return std::string(text);
  const std::size_t n = caches.size();
  const std::size_t prefix = kFileScheme.size();
  if (text.size() > n + prefix && text.substr(prefix, n) == caches) {
    return "/." + std::string(text.substr(n + prefix));
  }
  return std::string(text);
}

std::string fixIfAbsoluteFilePath(std::string_view text) {
  // Only URLs need the caches directory; plain paths skip the lookup.
  if (!text.starts_with(kFileScheme)) return std::string(text);
  return fixIfAbsoluteFilePath(text, cachesPath());
}

std::string fixIfRelativeCache(std::string_view text, std::string_view caches) {
  if (text.size() >= 2 && text[0] == '/' && text[1] == '.') {
    return std::string(kFileScheme) + std::string(caches) + std::string(text);
  }
  return std::string(text);
}

std::string fixIfRelativeCache(std::string_view text) {
  if (!(text.size() >= 2 && text[0] == '/' && text[1] == '.')) return std::string(text);
  return fixIfRelativeCache(text, cachesPath());
}

}  // namespace dm
