// Where seed archives of other languages come from: a fetch by language code that makes the
// archive "Handbook_<code>.sqlite" available for a while, then a lookup of that archive.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace dm {

// Implementations must be callable from any thread.
class SeedPackSource {
 public:
  // nullopt: the pack is available; otherwise the error's description.
  using Completion = std::function<void(const std::optional<std::string>& error)>;
  virtual ~SeedPackSource() = default;
  // Makes the pack of the tag ("handbook_" + code) available and calls `completion` once,
  // on any thread (possibly before returning).
  virtual void beginAccess(const std::string& tag, const std::string& languageCode,
                           Completion completion) = 0;
  // The archive of the resource name ("Handbook_" + code + ".sqlite") when present.
  virtual std::optional<std::filesystem::path> resourcePath(const std::string& resourceName) = 0;
  // The caller no longer needs the pack of the tag; the source may purge it later.
  virtual void endAccess(const std::string& tag) { (void)tag; }
};

// Packs that the host has put into a directory (the application's bundled resources).
// Access succeeds when the directory holds the pack's archive.
class DirectorySeedPackSource : public SeedPackSource {
 public:
  explicit DirectorySeedPackSource(std::filesystem::path directory);
  void beginAccess(const std::string& tag, const std::string& languageCode,
                   Completion completion) override;
  std::optional<std::filesystem::path> resourcePath(const std::string& resourceName) override;
  const std::filesystem::path& directory() const { return directory_; }

 private:
  const std::filesystem::path directory_;
};

// Packs fetched by a downloader the host plugs in: it stores the archive of a language code
// at the destination and reports the outcome (nullopt on success). Downloaded packs are kept
// in `cacheDirectory`; the packs of `bundled` (when given) are used without downloading.
class DownloadingSeedPackSource final : public SeedPackSource {
 public:
  using Downloader =
      std::function<void(const std::string& languageCode, const std::filesystem::path& destination,
                         Completion completion)>;
  DownloadingSeedPackSource(std::filesystem::path cacheDirectory, Downloader downloader,
                            std::shared_ptr<SeedPackSource> bundled = nullptr);
  void beginAccess(const std::string& tag, const std::string& languageCode,
                   Completion completion) override;
  std::optional<std::filesystem::path> resourcePath(const std::string& resourceName) override;

 private:
  const std::filesystem::path cacheDirectory_;
  const Downloader downloader_;
  const std::shared_ptr<SeedPackSource> bundled_;
};

// "Handbook_" + code + ".sqlite".
std::string seedResourceFileName(const std::string& languageCode);

}  // namespace dm
