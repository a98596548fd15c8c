// The device settings store: typed values under text keys, kept in memory and written
// atomically to one JSON file ("Settings.json") in the application-support directory.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "Platform/Foundation/Date.h"

namespace dm {

// Every method may be called from any thread. Reads come from memory; each change is written
// through to the file before the setter returns (a failed write is logged and reported as a
// diagnostic event; the value stays in memory and the next change or synchronize() retries).
// The file is replaced as a whole via a temporary file, fsync and rename, so a crash or a
// failed write leaves either the old or the new file, never a mix.
//
// Several processes may share the file: each write takes an advisory lock
// ("Settings.json.lock" beside it), reads the file again and applies only this store's
// changes to what it holds, so concurrent writers keep each other's keys; memory then holds
// the file's state. A file that exists but is refused (not JSON, an unknown format, nested
// too deep, malformed entries) is renamed to "Settings.json.refused" (the last one is kept)
// with the diagnostic event "Settings file kept aside" before the first write replaces it.
//
// Values are integers, reals, booleans, texts, dates, lists and dictionaries. Dates are kept
// as seconds since 1970 with a tag, so they read back as dates; objectForKey shows them as
// that number.
class SettingsStore {
 public:
  static constexpr const char* kFileName = "Settings.json";

  // The file operations the store needs; replaceable so tests can make them fail.
  class FileSystem {
   public:
    enum class ReadStatus { Ok, Missing, Failed };
    virtual ~FileSystem() = default;
    // Reads the whole file into `contents`. Missing when it does not exist; Failed (with
    // `error` set) when it exists but cannot be read.
    virtual ReadStatus readFile(const std::filesystem::path& path, std::string& contents,
                                std::string& error) = 0;
    // Creates or truncates `path`, writes `bytes` and flushes them to the disk (fsync).
    // false with `error` set on any failure; the file may then hold part of the bytes.
    virtual bool writeFile(const std::filesystem::path& path, std::string_view bytes,
                           std::string& error) = 0;
    // Atomically replaces `to` by `from`. false with `error` set on failure.
    virtual bool rename(const std::filesystem::path& from, const std::filesystem::path& to,
                        std::string& error) = 0;
    // Flushes the directory entry changes of `directory` (fsync). false with `error` set.
    virtual bool syncDirectory(const std::filesystem::path& directory, std::string& error) = 0;
    // Removes `path` if it exists; failures are ignored.
    virtual void removeFile(const std::filesystem::path& path) = 0;
    // Held while a write reads and replaces the file; released when destroyed.
    class Lock {
     public:
      virtual ~Lock() = default;
    };
    // Blocks until this process holds the exclusive advisory lock on `path` (created when
    // missing). nullptr with `error` set on failure. The default locks nothing: enough for
    // file systems that only one process sees.
    virtual std::unique_ptr<Lock> lockExclusive(const std::filesystem::path& path,
                                                std::string& error);

    // The real, POSIX file system. Shared and stateless.
    static std::shared_ptr<FileSystem> posix();
  };

  // A store persisted at `file`, loaded now. A missing file starts empty; an unreadable or
  // corrupt one starts empty too (malformed entries are skipped, the others kept) and reports
  // the diagnostic event "Settings file unreadable" (the file is left as it is until the next
  // write moves it aside). The parent directory is created when missing.
  explicit SettingsStore(std::filesystem::path file,
                         std::shared_ptr<FileSystem> fileSystem = FileSystem::posix());
  SettingsStore(const SettingsStore&) = delete;
  SettingsStore& operator=(const SettingsStore&) = delete;

  // A store that never touches the disk (for tests and throw-away state). Caller owns it.
  static std::shared_ptr<SettingsStore> inMemory();

  // The process-wide store, created on first use at the application-support directory of
  // Directories::shared() (so a host that changes the data root does so before first use).
  // Thread-safe; the returned store stays valid while held.
  static std::shared_ptr<SettingsStore> standard();
  // Replaces the process-wide store; nullptr makes the next standard() create it anew.
  static void setStandard(std::shared_ptr<SettingsStore> store);

  // ---- Reading. Absent keys give std::nullopt or the zero value. ----
  // The stored value (a date as its seconds since 1970).
  std::optional<nlohmann::json> objectForKey(std::string_view key) const;
  // The value as a whole number: integers as they are, reals truncated toward zero (0 beyond
  // the range), booleans 0/1, texts by their leading number ("42", " 7.9" -> 7); else 0.
  std::int64_t integerForKey(std::string_view key) const;
  // As integerForKey, without truncation.
  double doubleForKey(std::string_view key) const;
  // Booleans as they are, numbers when non-zero, texts "yes"/"true" (any case) or holding a
  // non-zero number; else false.
  bool boolForKey(std::string_view key) const;
  // Texts as they are, numbers and booleans as their decimal text; else std::nullopt.
  std::optional<std::string> stringForKey(std::string_view key) const;
  // Only values stored as dates.
  std::optional<Date> dateForKey(std::string_view key) const;
  // Only values stored as lists / dictionaries.
  std::optional<nlohmann::json> arrayForKey(std::string_view key) const;
  std::optional<nlohmann::json> dictionaryForKey(std::string_view key) const;
  bool contains(std::string_view key) const;
  // Every key, sorted.
  std::vector<std::string> keys() const;
  // Every key with its value, as objectForKey gives them.
  nlohmann::json dictionaryRepresentation() const;

  // ---- Writing. Each stores the value in memory and writes the file. ----
  // Stores any tree; null removes the key. Trees holding binary values or non-finite numbers
  // are refused with a logged warning and change nothing.
  void setObject(std::string_view key, const nlohmann::json& value);
  void setInteger(std::string_view key, std::int64_t value);
  // Non-finite values are refused with a logged warning.
  void setDouble(std::string_view key, double value);
  void setBool(std::string_view key, bool value);
  void setString(std::string_view key, std::string_view value);
  void setDate(std::string_view key, Date value);
  // Removes the key; absent keys are fine.
  void remove(std::string_view key);

  // Writes this store's changes if the file does not hold them yet. true when the file is
  // current afterwards (always for an in-memory store); false after a failed write (logged):
  // a full disk, a read-only directory, an unreadable file or a lock that cannot be taken.
  bool synchronize();

  // The settings file; empty for an in-memory store.
  const std::filesystem::path& filePath() const { return file_; }

 private:
  struct Entry {
    nlohmann::json value;
    bool isDate = false;
    // Same kind and value: an integer 5 and a real 5.0 differ here, though JSON calls them equal.
    bool operator==(const Entry& other) const {
      return isDate == other.isDate && value.type() == other.value.type() && value == other.value;
    }
  };

  using Entries = std::map<std::string, Entry, std::less<>>;
  // A change not yet written; nullopt entry removes the key.
  struct PendingChange {
    std::optional<Entry> entry;
    std::uint64_t generation = 0;
  };
  // What the file holds. Refused: it exists and was read but cannot be used as a whole
  // (entries holds the readable ones); Unreadable: it exists but reading failed.
  struct FileState {
    enum Kind { Missing, Read, Refused, Unreadable } kind = Missing;
    Entries entries;
    std::string reason;
  };

  SettingsStore();  // in-memory
  std::optional<Entry> entry(std::string_view key) const;
  void store(std::string_view key, std::optional<Entry> entry);
  void load();
  FileState readFileState() const;
  std::filesystem::path refusedFilePath() const;
  static std::string serialize(const Entries& entries);
  // Applies the pending changes to the file under the file lock. Any thread.
  bool writeChanges();

  const std::filesystem::path file_;
  const std::shared_ptr<FileSystem> fileSystem_;  // null for in-memory stores

  mutable std::mutex mutex_;
  Entries entries_;                                            // guarded by mutex_
  std::map<std::string, PendingChange, std::less<>> pending_;  // guarded by mutex_
  std::uint64_t generation_ = 0;         // guarded by mutex_; bumped per change
  std::uint64_t writtenGeneration_ = 0;  // guarded by mutex_; the last generation on disk

  std::mutex writeMutex_;  // serialises file writes; taken before mutex_
};

}  // namespace dm
