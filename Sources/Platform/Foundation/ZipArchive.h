// ZIP archives: all-or-nothing, CRC-checked extraction of untrusted archives (the handbook
// seeds) and atomic creation of archives from files on disk (building seed packs).
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "Platform/Foundation/Error.h"

namespace dm::zip {

// Why an archive was refused or could not be handled.
enum class ZipErrorReason {
  CannotOpen,   // missing or unreadable archive file, or not a ZIP archive at all
  Corrupt,      // truncated, inconsistent, CRC mismatch, inflates to more than it declares
  UnsafeEntry,  // a name leaving the target (absolute, "..", through a symbolic link),
                // a symbolic link or device entry, a duplicate name
  TooLarge,     // more bytes than ExtractOptions::maximumTotalSize
  NoSpace,      // more bytes than the target's file system has free
  Conflict,     // an entry collides with an existing file or directory of the other kind
  Io,           // reading or writing a file failed
};

// The library-wide code of each reason (ArchiveCannotOpen, ArchiveCorrupt, ...).
dm::ErrorCode errorCodeForZip(ZipErrorReason reason);

// The one error type of this file. what() names the archive and, when one is to blame,
// the entry: "seed.zip: entry '../x': leaves the target directory".
class ZipError : public dm::Error {
 public:
  ZipError(ZipErrorReason reason, std::filesystem::path archive, std::string entry,
           const std::string& detail);
  ZipErrorReason reason() const { return reason_; }
  const std::filesystem::path& archive() const { return archive_; }
  // The entry's name as stored in the archive; empty when the archive as a whole failed.
  const std::string& entry() const { return entry_; }

 private:
  ZipErrorReason reason_;
  std::filesystem::path archive_;
  std::string entry_;
};

struct ExtractOptions {
  // Refuse archives whose entries add up to more than this (declared or actually inflated).
  std::uint64_t maximumTotalSize = std::uint64_t{2} << 30;
  // Free bytes available at a path; defaults to std::filesystem::space(path).available.
  // Replaceable so callers (and tests) can impose a smaller budget.
  std::function<std::uint64_t(const std::filesystem::path&)> availableSpace;
};

// Extracts every entry of `archive` into `directory` (created when missing), replacing
// files of the same names and leaving other files there alone.
//
// All or nothing: entries are checked, inflated with CRC-32 checking into a temporary
// sibling of `directory`, and only then moved into place; replaced files are kept aside
// until every entry is in place so that a failure while moving puts them back. On any
// failure the function throws ZipError, no temporary file remains, and `directory` holds
// exactly what it held before (it is removed again if this call created it).
//
// Any thread, but two extractions into the same directory at once are not coordinated.
void extract(const std::filesystem::path& archive, const std::filesystem::path& directory,
             const ExtractOptions& options = {});

// An entry to write: its name inside the archive ("Handbook.sqlite", "images/a.png") and
// the file on disk whose content it gets.
struct ZipEntrySource {
  std::string nameInArchive;
  std::filesystem::path file;
};

// Writes a new deflated archive holding `entries`, in that order, replacing `archive`
// atomically (written beside it under a temporary name, then renamed). Throws ZipError
// (reason UnsafeEntry for a name that extract() would refuse or a duplicate name, Io for an
// unreadable source or unwritable archive); on failure `archive` is as it was and no
// temporary file remains. Any thread.
void create(const std::filesystem::path& archive, const std::vector<ZipEntrySource>& entries);

}  // namespace dm::zip
