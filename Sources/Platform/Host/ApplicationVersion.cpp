// The host application's version, or the library's.
#include "Platform/Host/ApplicationVersion.h"

#include <mutex>

#include "Platform/Foundation/Directories.h"

namespace dm {
namespace {
std::mutex gMutex;
std::optional<std::string> gHostVersion;  // guarded by gMutex
}  // namespace

std::string ApplicationVersion::current() {
  {
    std::lock_guard lock(gMutex);
    if (gHostVersion) return *gHostVersion;
  }
  return Directories::applicationVersion();
}

void ApplicationVersion::setHostVersion(std::optional<std::string> version) {
  std::lock_guard lock(gMutex);
  if (version && version->empty()) version.reset();
  gHostVersion = std::move(version);
}

}  // namespace dm
