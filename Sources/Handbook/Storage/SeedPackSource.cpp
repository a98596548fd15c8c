// Seed pack sources: a directory of packs and a host-plugged downloader.
#include "Handbook/Storage/SeedPackSource.h"

#include <system_error>

namespace dm {

std::string seedResourceFileName(const std::string& languageCode) {
  return "Handbook_" + languageCode + ".sqlite";
}

DirectorySeedPackSource::DirectorySeedPackSource(std::filesystem::path directory)
    : directory_(std::move(directory)) {}

void DirectorySeedPackSource::beginAccess(const std::string& tag, const std::string& languageCode,
                                          Completion completion) {
  if (resourcePath(seedResourceFileName(languageCode))) {
    completion(std::nullopt);
  } else {
    completion("no seed pack for the tag " + tag + " in " + directory_.string());
  }
}

std::optional<std::filesystem::path> DirectorySeedPackSource::resourcePath(
    const std::string& resourceName) {
  if (directory_.empty() || resourceName.find('/') != std::string::npos) return std::nullopt;
  std::filesystem::path candidate = directory_ / resourceName;
  std::error_code ec;
  if (!std::filesystem::is_regular_file(candidate, ec)) return std::nullopt;
  return candidate;
}

DownloadingSeedPackSource::DownloadingSeedPackSource(std::filesystem::path cacheDirectory,
                                                     Downloader downloader,
                                                     std::shared_ptr<SeedPackSource> bundled)
    : cacheDirectory_(std::move(cacheDirectory)),
      downloader_(std::move(downloader)),
      bundled_(std::move(bundled)) {}

void DownloadingSeedPackSource::beginAccess(const std::string& tag, const std::string& languageCode,
                                            Completion completion) {
  const std::string name = seedResourceFileName(languageCode);
  if (bundled_ && bundled_->resourcePath(name)) {
    completion(std::nullopt);
    return;
  }
  if (!downloader_) {
    completion("no downloader for the tag " + tag);
    return;
  }
  std::error_code ec;
  std::filesystem::create_directories(cacheDirectory_, ec);
  downloader_(languageCode, cacheDirectory_ / name, std::move(completion));
}

std::optional<std::filesystem::path> DownloadingSeedPackSource::resourcePath(
    const std::string& resourceName) {
  if (bundled_) {
    if (auto path = bundled_->resourcePath(resourceName)) return path;
  }
  if (resourceName.find('/') != std::string::npos) return std::nullopt;
  std::filesystem::path candidate = cacheDirectory_ / resourceName;
  std::error_code ec;
  if (!std::filesystem::is_regular_file(candidate, ec)) return std::nullopt;
  return candidate;
}

}  // namespace dm
