// Where the library keeps its files: the documents, caches and application-support
// directories under one data root that the host chooses, plus a few facts about the disk
// and the library that the stores report in their diagnostics.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

namespace dm {

// One set of directories under a data root. Instances are immutable and may be used from
// any thread; the process-wide instance is swapped atomically by setShared/setDataRoot.
class Directories {
 public:
  // Directories under `dataRoot` (a leading "~" is expanded). Nothing is created yet.
  explicit Directories(std::filesystem::path dataRoot);

  // The data root when the host chose none: $XDG_DATA_HOME/datamodel when that variable holds
  // an absolute path, else ~/.local/share/datamodel (HOME; the working directory when unset).
  static std::filesystem::path defaultDataRoot();

  const std::filesystem::path& dataRoot() const { return dataRoot_; }

  // The directory paths; each is created with its parents on the first call that finds it
  // missing. A creation failure is logged as a warning and the path is returned anyway, so
  // the caller's own open fails with the real error. Any thread.
  std::filesystem::path documentsDirectory() const;
  std::filesystem::path cachesDirectory() const;
  std::filesystem::path applicationSupportDirectory() const;

  // The process-wide directories (under defaultDataRoot() until the host sets another root).
  // Thread-safe; the returned instance stays valid while the caller holds it.
  static std::shared_ptr<Directories> shared();
  // Replaces the process-wide directories; nullptr restores the default root.
  static void setShared(std::shared_ptr<Directories> directories);
  // Shorthand for setShared(std::make_shared<Directories>(path)).
  static void setDataRoot(const std::filesystem::path& path);

  // "~" or "~/..." with the home directory put in; any other text is returned unchanged
  // (including "~user" forms, which this platform layer does not resolve). Pure.
  static std::string expandTildeInPath(std::string_view path);

  // Bytes available to an unprivileged user on the file system holding `path`; 0 when the
  // path does not exist or the system cannot tell. Any thread.
  static std::uint64_t freeDiskSpace(const std::filesystem::path& path);

  // The library's version text ("0.1.0") and number (major.minor), as built.
  static std::string applicationVersion();
  static double applicationVersionNumber();

 private:
  std::filesystem::path ensureDirectory(const std::filesystem::path& path) const;

  std::filesystem::path dataRoot_;
};

}  // namespace dm
