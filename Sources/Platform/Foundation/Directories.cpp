// The data root, its standard subdirectories and the disk and version facts.
#include "Platform/Foundation/Directories.h"

#include <sys/statvfs.h>

#include <cstdlib>
#include <mutex>
#include <system_error>

#include "Platform/Foundation/Logger.h"
#include "Platform/Foundation/Version.h"

namespace dm {
namespace {

std::mutex& sharedMutex() {
  static std::mutex mutex;
  return mutex;
}

std::shared_ptr<Directories>& sharedSlot() {
  static std::shared_ptr<Directories> directories;
  return directories;
}

std::string homeDirectory() {
  const char* home = std::getenv("HOME");
  if (home != nullptr && *home != '\0') return home;
  std::error_code error;
  auto current = std::filesystem::current_path(error);
  return error ? std::string(".") : current.string();
}

}  // namespace

Directories::Directories(std::filesystem::path dataRoot)
    : dataRoot_(expandTildeInPath(dataRoot.string())) {}

std::filesystem::path Directories::defaultDataRoot() {
  const char* xdg = std::getenv("XDG_DATA_HOME");
  // Relative values are invalid for this variable and must be ignored.
  if (xdg != nullptr && *xdg == '/') return std::filesystem::path(xdg) / "datamodel";
  return std::filesystem::path(homeDirectory()) / ".local" / "share" / "datamodel";
}

std::filesystem::path Directories::ensureDirectory(const std::filesystem::path& path) const {
  std::error_code error;
  if (!std::filesystem::is_directory(path, error)) {
    std::filesystem::create_directories(path, error);
    if (error) logWarning("Could not create directory " + path.string() + ": " + error.message());
  }
  return path;
}

std::filesystem::path Directories::documentsDirectory() const {
  return ensureDirectory(dataRoot_ / "Documents");
}

std::filesystem::path Directories::cachesDirectory() const {
  return ensureDirectory(dataRoot_ / "Caches");
}

std::filesystem::path Directories::applicationSupportDirectory() const {
  return ensureDirectory(dataRoot_ / "ApplicationSupport");
}

std::shared_ptr<Directories> Directories::shared() {
  std::lock_guard lock(sharedMutex());
  auto& slot = sharedSlot();
  if (!slot) slot = std::make_shared<Directories>(defaultDataRoot());
  return slot;
}

void Directories::setShared(std::shared_ptr<Directories> directories) {
  std::lock_guard lock(sharedMutex());
  // An empty slot is filled lazily, so the default root follows the environment of that time.
  sharedSlot() = std::move(directories);
}

void Directories::setDataRoot(const std::filesystem::path& path) {
  setShared(std::make_shared<Directories>(path));
}

std::string Directories::expandTildeInPath(std::string_view path) {
  if (path.empty() || path[0] != '~') return std::string(path);
  if (path.size() > 1 && path[1] != '/') return std::string(path);
  return homeDirectory() + std::string(path.substr(1));
}

std::uint64_t Directories::freeDiskSpace(const std::filesystem::path& path) {
  struct statvfs info {};
  if (::statvfs(path.c_str(), &info) != 0) return 0;
  return static_cast<std::uint64_t>(info.f_bavail) * static_cast<std::uint64_t>(info.f_frsize);
}

std::string Directories::applicationVersion() {
  return DataModelVersionString;
}

double Directories::applicationVersionNumber() {
  return DataModelVersionNumber;
}

}  // namespace dm
