// ZIP extraction (checked, staged, rolled back on failure) and creation, on libzip.
#include "Platform/Foundation/ZipArchive.h"

#include <stdlib.h>
#include <sys/stat.h>
#include <zip.h>

#include <algorithm>
#include <fstream>
#include <memory>
#include <optional>
#include <set>
#include <system_error>

namespace dm::zip {
namespace fs = std::filesystem;

ZipError::ZipError(ZipErrorReason reason, fs::path archive, std::string entry,
                   const std::string& detail)
    : dm::Error(errorCodeForZip(reason),
                archive.string() + (entry.empty() ? std::string() : ": entry '" + entry + "'") +
                    ": " + detail),
      reason_(reason),
      archive_(std::move(archive)),
      entry_(std::move(entry)) {}

dm::ErrorCode errorCodeForZip(ZipErrorReason reason) {
  switch (reason) {
    case ZipErrorReason::CannotOpen:
      return dm::ErrorCode::ArchiveCannotOpen;
    case ZipErrorReason::Corrupt:
      return dm::ErrorCode::ArchiveCorrupt;
    case ZipErrorReason::UnsafeEntry:
      return dm::ErrorCode::ArchiveUnsafeEntry;
    case ZipErrorReason::TooLarge:
      return dm::ErrorCode::ArchiveTooLarge;
    case ZipErrorReason::NoSpace:
      return dm::ErrorCode::ArchiveNoSpace;
    case ZipErrorReason::Conflict:
      return dm::ErrorCode::ArchiveConflict;
    case ZipErrorReason::Io:
      return dm::ErrorCode::ArchiveIo;
  }
  return dm::ErrorCode::ArchiveIo;
}

namespace {

struct ArchiveCloser {
  void operator()(zip_t* archive) const { zip_discard(archive); }
};
struct FileCloser {
  void operator()(zip_file_t* file) const { zip_fclose(file); }
};
using Archive = std::unique_ptr<zip_t, ArchiveCloser>;
using EntryFile = std::unique_ptr<zip_file_t, FileCloser>;

std::string describe(zip_error_t* error) {
  return zip_error_strerror(error);
}

std::string describeCode(int code) {
  zip_error_t error;
  zip_error_init_with_code(&error, code);
  std::string text = zip_error_strerror(&error);
  zip_error_fini(&error);
  return text;
}

// The relative path an entry name stands for, or nullopt when the name could leave the
// target: empty, absolute, backslashes (separators elsewhere), drive letters, "..".
std::optional<fs::path> safeRelativePath(const std::string& name) {
  if (name.empty() || name.front() == '/' || name.find('\\') != std::string::npos ||
      name.find('\0') != std::string::npos)
    return std::nullopt;
  fs::path relative;
  size_t start = 0;
  bool first = true;
  while (start <= name.size()) {
    size_t end = name.find('/', start);
    if (end == std::string::npos) end = name.size();
    std::string part = name.substr(start, end - start);
    start = end + 1;
    if (part.empty() || part == ".") continue;
    if (part == "..") return std::nullopt;
    if (first && part.size() >= 2 && part[1] == ':') return std::nullopt;
    first = false;
    relative /= part;
  }
  if (relative.empty()) return std::nullopt;
  return relative;
}

bool isWithin(const fs::path& path, const fs::path& root) {
  auto [rootEnd, pathIt] = std::mismatch(root.begin(), root.end(), path.begin(), path.end());
  return rootEnd == root.end();
}

struct Entry {
  zip_uint64_t index;
  std::string name;
  fs::path relative;
  bool isDirectory;
  zip_uint64_t declaredSize;
};

// Removes a directory tree when it goes out of scope (the staging area).
class ScopedRemoval {
 public:
  explicit ScopedRemoval(fs::path path) : path_(std::move(path)) {}
  ~ScopedRemoval() {
    std::error_code ignored;
    if (!path_.empty()) fs::remove_all(path_, ignored);
  }
  ScopedRemoval(const ScopedRemoval&) = delete;
  ScopedRemoval& operator=(const ScopedRemoval&) = delete;

 private:
  fs::path path_;
};

fs::path makeStagingDirectory(const fs::path& directory, const fs::path& archive) {
  std::string pattern =
      (directory.parent_path() / ("." + directory.filename().string() + ".extract-XXXXXX"))
          .string();
  if (mkdtemp(pattern.data()) == nullptr)
    throw ZipError(ZipErrorReason::Io, archive, "",
                   "cannot create a staging directory beside " + directory.string() + ": " +
                       std::generic_category().message(errno));
  return pattern;
}

// Every change made to the target, so that a failure can undo them in reverse order, and
// the staging directory, which goes after the files kept in it are back in place but
// before the directories created for it.
class TargetChanges {
 public:
  ~TargetChanges() {
    std::error_code ignored;
    if (!committed_) undo(false);
    if (!staging_.empty()) fs::remove_all(staging_, ignored);
    if (!committed_) undo(true);
  }
  void setStaging(fs::path staging) { staging_ = std::move(staging); }
  void createdDirectory(fs::path path) { steps_.push_back({Kind::CreatedDirectory, path, {}}); }
  void setAside(fs::path target, fs::path kept) {
    steps_.push_back({Kind::SetAside, std::move(target), std::move(kept)});
  }
  void placed(fs::path target) { steps_.push_back({Kind::Placed, std::move(target), {}}); }
  void commit() { committed_ = true; }

 private:
  enum class Kind { CreatedDirectory, SetAside, Placed };
  struct Step {
    Kind kind;
    fs::path target;
    fs::path kept;
  };
  void undo(bool directories) {
    std::error_code ignored;
    for (auto step = steps_.rbegin(); step != steps_.rend(); ++step) {
      if ((step->kind == Kind::CreatedDirectory) != directories) continue;
      switch (step->kind) {
        case Kind::Placed:
          fs::remove(step->target, ignored);
          break;
        case Kind::SetAside:
          fs::rename(step->kept, step->target, ignored);
          break;
        case Kind::CreatedDirectory:
          fs::remove(step->target, ignored);  // only succeeds while empty, as created
          break;
      }
    }
  }
  std::vector<Step> steps_;
  fs::path staging_;
  bool committed_ = false;
};

// Creates `path` and any missing parents, recording each one created.
void createDirectories(const fs::path& path, TargetChanges& changes) {
  std::vector<fs::path> missing;
  for (fs::path p = path; !p.empty() && !fs::exists(fs::symlink_status(p)); p = p.parent_path()) {
    missing.push_back(p);
    if (p == p.parent_path()) break;
  }
  for (auto p = missing.rbegin(); p != missing.rend(); ++p) {
    fs::create_directory(*p);
    changes.createdDirectory(*p);
  }
}

std::vector<Entry> readDirectory(zip_t* zip, const fs::path& archive, const ExtractOptions& options,
                                 std::uint64_t available) {
  std::vector<Entry> entries;
  std::set<fs::path> seen;
  std::uint64_t declaredTotal = 0;
  zip_int64_t count = zip_get_num_entries(zip, 0);
  for (zip_int64_t i = 0; i < count; ++i) {
    auto index = static_cast<zip_uint64_t>(i);
    zip_stat_t stat;
    zip_stat_init(&stat);
    if (zip_stat_index(zip, index, 0, &stat) != 0 || !(stat.valid & ZIP_STAT_NAME))
      throw ZipError(ZipErrorReason::Corrupt, archive, "",
                     "unreadable entry " + std::to_string(i) + ": " + describe(zip_get_error(zip)));
    std::string name = stat.name;
    zip_uint8_t system = 0;
    zip_uint32_t attributes = 0;
    if (zip_file_get_external_attributes(zip, index, 0, &system, &attributes) != 0)
      throw ZipError(ZipErrorReason::Corrupt, archive, name, "unreadable attributes");
    bool isDirectory = !name.empty() && name.back() == '/';
    if (system == ZIP_OPSYS_UNIX) {
      mode_t type = (attributes >> 16) & S_IFMT;
      if (type == S_IFLNK)
        throw ZipError(ZipErrorReason::UnsafeEntry, archive, name, "symbolic links are refused");
      if (type != 0 && type != S_IFREG && type != S_IFDIR)
        throw ZipError(ZipErrorReason::UnsafeEntry, archive, name, "special files are refused");
      if (type == S_IFDIR) isDirectory = true;
    }
    auto relative = safeRelativePath(name);
    if (!relative)
      throw ZipError(ZipErrorReason::UnsafeEntry, archive, name, "leaves the target directory");
    if (!seen.insert(*relative).second)
      throw ZipError(ZipErrorReason::UnsafeEntry, archive, name, "duplicate entry name");
    zip_uint64_t size = (stat.valid & ZIP_STAT_SIZE) ? stat.size : 0;
    if (isDirectory) size = 0;
    declaredTotal += size;
    if (declaredTotal > options.maximumTotalSize || declaredTotal < size)
      throw ZipError(
          ZipErrorReason::TooLarge, archive, name,
          "entries declare more than " + std::to_string(options.maximumTotalSize) + " bytes");
    if (declaredTotal > available)
      throw ZipError(ZipErrorReason::NoSpace, archive, name,
                     "entries declare more bytes than the " + std::to_string(available) +
                         " free at the target");
    entries.push_back({index, std::move(name), std::move(*relative), isDirectory, size});
  }
  return entries;
}

// Inflates one entry into `destination`, counting the bytes really produced.
void inflateEntry(zip_t* zip, const Entry& entry, const fs::path& destination,
                  const fs::path& archive, std::uint64_t& inflatedTotal,
                  const ExtractOptions& options) {
  EntryFile file(zip_fopen_index(zip, entry.index, 0));
  if (!file)
    throw ZipError(ZipErrorReason::Corrupt, archive, entry.name, describe(zip_get_error(zip)));
  std::ofstream out(destination, std::ios::binary | std::ios::trunc);
  if (!out)
    throw ZipError(ZipErrorReason::Io, archive, entry.name, "cannot write " + destination.string());
  std::vector<char> buffer(1 << 16);
  std::uint64_t written = 0;
  for (;;) {
    zip_int64_t got = zip_fread(file.get(), buffer.data(), buffer.size());
    if (got < 0) {
      zip_error_t* error = zip_file_get_error(file.get());
      bool crc = zip_error_code_zip(error) == ZIP_ER_CRC;
      throw ZipError(ZipErrorReason::Corrupt, archive, entry.name,
                     crc ? "CRC-32 mismatch" : describe(error));
    }
    if (got == 0) break;
    written += static_cast<std::uint64_t>(got);
    inflatedTotal += static_cast<std::uint64_t>(got);
    // Declared sizes were checked against the limits; an entry that inflates to more than
    // it declares is lying and would get around them.
    if (written > entry.declaredSize)
      throw ZipError(
          ZipErrorReason::Corrupt, archive, entry.name,
          "inflates to more than its declared " + std::to_string(entry.declaredSize) + " bytes");
    if (inflatedTotal > options.maximumTotalSize)
      throw ZipError(
          ZipErrorReason::TooLarge, archive, entry.name,
          "inflates to more than " + std::to_string(options.maximumTotalSize) + " bytes");
    out.write(buffer.data(), got);
    if (!out)
      throw ZipError(ZipErrorReason::Io, archive, entry.name,
                     "cannot write " + destination.string());
  }
  if (written != entry.declaredSize)
    throw ZipError(ZipErrorReason::Corrupt, archive, entry.name,
                   "inflates to " + std::to_string(written) + " bytes, declares " +
                       std::to_string(entry.declaredSize));
  out.close();
  if (!out)
    throw ZipError(ZipErrorReason::Io, archive, entry.name, "cannot write " + destination.string());
}

// Checks before anything is moved that every entry lands inside the target and does not
// collide with an existing path of the other kind.
void checkTargets(const std::vector<Entry>& entries, const fs::path& root,
                  const fs::path& archive) {
  for (const Entry& entry : entries) {
    fs::path target = root / entry.relative;
    std::error_code error;
    fs::path resolved = fs::weakly_canonical(target.parent_path(), error);
    if (error || !isWithin(resolved, root))
      throw ZipError(ZipErrorReason::UnsafeEntry, archive, entry.name,
                     "would be written outside the target through a symbolic link");
    for (fs::path p = entry.relative.parent_path(); !p.empty(); p = p.parent_path()) {
      auto status = fs::status(root / p, error);
      if (fs::exists(status) && !fs::is_directory(status))
        throw ZipError(ZipErrorReason::Conflict, archive, entry.name,
                       (root / p).string() + " exists and is not a directory");
    }
    auto status = fs::symlink_status(target, error);
    if (!fs::exists(status)) continue;
    if (entry.isDirectory != fs::is_directory(status) || fs::is_symlink(status))
      throw ZipError(ZipErrorReason::Conflict, archive, entry.name,
                     target.string() + " exists as another kind of file");
  }
}

void moveIntoPlace(const std::vector<Entry>& entries, const fs::path& staged,
                   const fs::path& keptAside, const fs::path& root, TargetChanges& changes) {
  for (const Entry& entry : entries) {
    fs::path target = root / entry.relative;
    if (entry.isDirectory) {
      createDirectories(target, changes);
      continue;
    }
    createDirectories(target.parent_path(), changes);
    if (fs::exists(fs::symlink_status(target))) {
      fs::path kept = keptAside / entry.relative;
      fs::create_directories(kept.parent_path());
      fs::rename(target, kept);
      changes.setAside(target, kept);
    }
    fs::rename(staged / entry.relative, target);
    changes.placed(target);
  }
}

}  // namespace

void extract(const fs::path& archive, const fs::path& directory, const ExtractOptions& options) {
  // libzip opens an empty file as an empty archive; a real one has at least its end record.
  std::error_code sizeError;
  if (fs::is_regular_file(archive, sizeError) && fs::file_size(archive, sizeError) == 0)
    throw ZipError(ZipErrorReason::Corrupt, archive, "", "empty file");
  int openError = 0;
  Archive zip(zip_open(archive.c_str(), ZIP_RDONLY | ZIP_CHECKCONS, &openError));
  if (!zip) {
    bool unreadable = openError == ZIP_ER_NOENT || openError == ZIP_ER_OPEN ||
                      openError == ZIP_ER_READ || openError == ZIP_ER_NOZIP;
    throw ZipError(unreadable ? ZipErrorReason::CannotOpen : ZipErrorReason::Corrupt, archive, "",
                   describeCode(openError));
  }

  fs::path root = fs::absolute(directory).lexically_normal();
  if (!root.has_filename()) root = root.parent_path();  // "dir/" names the same directory
  TargetChanges changes;
  try {
    createDirectories(root, changes);
    root = fs::canonical(root);
    std::uint64_t available =
        options.availableSpace ? options.availableSpace(root) : fs::space(root).available;
    std::vector<Entry> entries = readDirectory(zip.get(), archive, options, available);
    checkTargets(entries, root, archive);  // before inflating anything; again before moving

    fs::path staging = makeStagingDirectory(root, archive);
    changes.setStaging(staging);
    fs::path staged = staging / "new";
    fs::path keptAside = staging / "old";
    fs::create_directory(staged);
    fs::create_directory(keptAside);

    std::uint64_t inflatedTotal = 0;
    for (const Entry& entry : entries) {
      fs::path destination = staged / entry.relative;
      if (entry.isDirectory) {
        fs::create_directories(destination);
        continue;
      }
      auto status = fs::symlink_status(destination.parent_path());
      if (fs::exists(status) && !fs::is_directory(status))
        throw ZipError(ZipErrorReason::Conflict, archive, entry.name,
                       "a file entry is also used as a directory");
      fs::create_directories(destination.parent_path());
      inflateEntry(zip.get(), entry, destination, archive, inflatedTotal, options);
    }

    checkTargets(entries, root, archive);
    moveIntoPlace(entries, staged, keptAside, root, changes);
    changes.commit();
  } catch (const fs::filesystem_error& error) {
    throw ZipError(ZipErrorReason::Io, archive, "", error.what());
  }
}

void create(const fs::path& archive, const std::vector<ZipEntrySource>& entries) {
  std::set<fs::path> seen;
  for (const ZipEntrySource& entry : entries) {
    auto relative = safeRelativePath(entry.nameInArchive);
    if (!relative || entry.nameInArchive.back() == '/')
      throw ZipError(ZipErrorReason::UnsafeEntry, archive, entry.nameInArchive,
                     "not a safe file name");
    if (!seen.insert(*relative).second)
      throw ZipError(ZipErrorReason::UnsafeEntry, archive, entry.nameInArchive,
                     "duplicate entry name");
    std::error_code error;
    if (!fs::is_regular_file(entry.file, error))
      throw ZipError(ZipErrorReason::Io, archive, entry.nameInArchive,
                     entry.file.string() + " is not a readable file");
  }

  // Written inside a private directory beside the archive, then renamed over it.
  fs::path target = fs::absolute(archive);
  std::string pattern =
      (target.parent_path() / ("." + target.filename().string() + ".XXXXXX")).string();
  if (mkdtemp(pattern.data()) == nullptr)
    throw ZipError(ZipErrorReason::Io, archive, "",
                   "cannot write beside the archive: " + std::generic_category().message(errno));
  ScopedRemoval removeStaging{fs::path(pattern)};
  fs::path temporary = fs::path(pattern) / target.filename();

  if (entries.empty()) {
    // libzip removes an archive left without entries; write the bare end record instead.
    std::ofstream out(temporary, std::ios::binary);
    out << std::string("PK\x05\x06", 4) << std::string(18, '\0');
    out.close();
    if (!out) throw ZipError(ZipErrorReason::Io, archive, "", "cannot write " + pattern);
  } else {
    int openError = 0;
    Archive zip(zip_open(temporary.c_str(), ZIP_CREATE | ZIP_EXCL, &openError));
    if (!zip) throw ZipError(ZipErrorReason::Io, archive, "", describeCode(openError));
    for (const ZipEntrySource& entry : entries) {
      zip_error_t error;
      zip_error_init(&error);
      zip_source_t* source = zip_source_file_create(entry.file.c_str(), 0, -1, &error);
      if (source == nullptr) {
        std::string text = describe(&error);
        zip_error_fini(&error);
        throw ZipError(ZipErrorReason::Io, archive, entry.nameInArchive, text);
      }
      zip_error_fini(&error);
      if (zip_file_add(zip.get(), entry.nameInArchive.c_str(), source, ZIP_FL_ENC_UTF_8) < 0) {
        zip_source_free(source);
        throw ZipError(ZipErrorReason::Io, archive, entry.nameInArchive,
                       describe(zip_get_error(zip.get())));
      }
    }
    // zip_close frees the archive only when it succeeds.
    if (zip_close(zip.get()) != 0)
      throw ZipError(ZipErrorReason::Io, archive, "", describe(zip_get_error(zip.get())));
    zip.release();
  }
  std::error_code error;
  fs::rename(temporary, target, error);
  if (error) throw ZipError(ZipErrorReason::Io, archive, "", error.message());
}

}  // namespace dm::zip
