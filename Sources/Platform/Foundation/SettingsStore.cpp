// The device settings store: typed entries, conversions for the typed getters, and the
// load/atomic-save cycle of its file.
#include "Platform/Foundation/SettingsStore.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <atomic>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <system_error>

#include "Platform/Foundation/DiagnosticEvents.h"
#include "Platform/Foundation/Directories.h"
#include "Platform/Foundation/Logger.h"
#include "Platform/Foundation/NestingLimit.h"

namespace dm {
namespace {

constexpr int kFileFormat = 1;

const char* kindName(const nlohmann::json& value, bool isDate) {
  if (isDate) return "date";
  switch (value.type()) {
    case nlohmann::json::value_t::number_integer:
    case nlohmann::json::value_t::number_unsigned:
      return "integer";
    case nlohmann::json::value_t::number_float:
      return "real";
    case nlohmann::json::value_t::boolean:
      return "boolean";
    case nlohmann::json::value_t::string:
      return "text";
    case nlohmann::json::value_t::array:
      return "list";
    case nlohmann::json::value_t::object:
      return "dictionary";
    default:
      return nullptr;
  }
}

// Deeper trees are refused: copying and writing a tree recurse once per level.
constexpr std::size_t kMaximumDepth = 512;

// Texts that are not UTF-8 would be written with replacement characters and read back
// as something else.
bool validUtf8(const std::string& text) {
  try {
    (void)nlohmann::json(text).dump();
    return true;
  } catch (const nlohmann::json::type_error&) {
    return false;
  }
}

// True when the tree can be written as JSON and read back equal.
bool storable(const nlohmann::json& value, std::size_t depth = 0) {
  if (value.is_binary() || value.is_discarded()) return false;
  if (value.is_string()) return validUtf8(value.get_ref<const std::string&>());
  if (value.is_object()) {
    for (const auto& item : value.items()) {
      if (!validUtf8(item.key())) return false;
    }
  }
  if (value.is_number_float()) return std::isfinite(value.get<double>());
  if (value.is_structured()) {
    if (depth >= kMaximumDepth) return false;
    for (const auto& element : value) {
      if (!storable(element, depth + 1)) return false;
    }
  }
  return true;
}

// Refuses a hostile file before a tree that deep exists; the file's own layout adds three
// levels above the values.
bool nestedTooDeep(std::string_view text) {
  return textNestedDeeperThan(text, kMaximumDepth + 3);
}

std::string systemError(const char* what) {
  return std::string(what) + ": " + std::strerror(errno);
}

class PosixFileSystem final : public SettingsStore::FileSystem {
 public:
  ReadStatus readFile(const std::filesystem::path& path, std::string& contents,
                      std::string& error) override {
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
      if (errno == ENOENT) return ReadStatus::Missing;
      error = systemError("open");
      return ReadStatus::Failed;
    }
    contents.clear();
    char buffer[16384];
    while (true) {
      ssize_t count = ::read(fd, buffer, sizeof buffer);
      if (count < 0 && errno == EINTR) continue;
      if (count < 0) {
        error = systemError("read");
        ::close(fd);
        return ReadStatus::Failed;
      }
      if (count == 0) break;
      contents.append(buffer, static_cast<std::size_t>(count));
    }
    ::close(fd);
    return ReadStatus::Ok;
  }

  bool writeFile(const std::filesystem::path& path, std::string_view bytes,
                 std::string& error) override {
    int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) {
      error = systemError("open");
      return false;
    }
    std::size_t written = 0;
    while (written < bytes.size()) {
      ssize_t count = ::write(fd, bytes.data() + written, bytes.size() - written);
      if (count < 0 && errno == EINTR) continue;
      if (count < 0) {
        error = systemError("write");
        ::close(fd);
        return false;
      }
      written += static_cast<std::size_t>(count);
    }
    if (::fsync(fd) != 0) {
      error = systemError("fsync");
      ::close(fd);
      return false;
    }
    if (::close(fd) != 0) {
      error = systemError("close");
      return false;
    }
    return true;
  }

  bool rename(const std::filesystem::path& from, const std::filesystem::path& to,
              std::string& error) override {
    if (::rename(from.c_str(), to.c_str()) != 0) {
      error = systemError("rename");
      return false;
    }
    return true;
  }

  bool syncDirectory(const std::filesystem::path& directory, std::string& error) override {
    int fd = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) {
      error = systemError("open directory");
      return false;
    }
    bool ok = ::fsync(fd) == 0;
    if (!ok) error = systemError("fsync directory");
    ::close(fd);
    return ok;
  }

  void removeFile(const std::filesystem::path& path) override { ::unlink(path.c_str()); }

  std::unique_ptr<Lock> lockExclusive(const std::filesystem::path& path,
                                      std::string& error) override {
    int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (fd < 0) {
      error = systemError("open lock file");
      return nullptr;
    }
    while (::flock(fd, LOCK_EX) != 0) {
      if (errno == EINTR) continue;
      error = systemError("lock");
      ::close(fd);
      return nullptr;
    }
    return std::make_unique<FlockLock>(fd);
  }

 private:
  // Closing the descriptor releases the lock.
  class FlockLock final : public Lock {
   public:
    explicit FlockLock(int fd) : fd_(fd) {}
    ~FlockLock() override { ::close(fd_); }

   private:
    int fd_;
  };
};

// Numbers at the start of a text, as the typed getters read them; 0 when there is none.
double leadingNumber(const std::string& text) {
  return std::strtod(text.c_str(), nullptr);
}

std::int64_t truncated(double value) {
  // Outside this range the conversion is undefined; such values read as 0.
  if (!std::isfinite(value) || value >= 9.2233720368547748e18 || value < -9.2233720368547758e18)
    return 0;
  return static_cast<std::int64_t>(value);
}

std::mutex& standardMutex() {
  static std::mutex mutex;
  return mutex;
}

std::shared_ptr<SettingsStore>& standardSlot() {
  static std::shared_ptr<SettingsStore> store;
  return store;
}

}  // namespace

std::shared_ptr<SettingsStore::FileSystem> SettingsStore::FileSystem::posix() {
  static const auto fileSystem = std::make_shared<PosixFileSystem>();
  return fileSystem;
}

SettingsStore::SettingsStore() = default;

SettingsStore::SettingsStore(std::filesystem::path file, std::shared_ptr<FileSystem> fileSystem)
    : file_(std::move(file)),
      fileSystem_(fileSystem ? std::move(fileSystem) : FileSystem::posix()) {
  std::error_code error;
  if (file_.has_parent_path()) std::filesystem::create_directories(file_.parent_path(), error);
  load();
}

std::shared_ptr<SettingsStore> SettingsStore::inMemory() {
  return std::shared_ptr<SettingsStore>(new SettingsStore());
}

std::shared_ptr<SettingsStore> SettingsStore::standard() {
  std::lock_guard lock(standardMutex());
  auto& slot = standardSlot();
  if (!slot) {
    slot = std::make_shared<SettingsStore>(Directories::shared()->applicationSupportDirectory() /
                                           kFileName);
  }
  return slot;
}

void SettingsStore::setStandard(std::shared_ptr<SettingsStore> store) {
  std::shared_ptr<SettingsStore> previous;
  std::lock_guard lock(standardMutex());
  previous = std::move(standardSlot());
  standardSlot() = std::move(store);
}

std::unique_ptr<SettingsStore::FileSystem::Lock> SettingsStore::FileSystem::lockExclusive(
    const std::filesystem::path&, std::string&) {
  return std::make_unique<Lock>();
}

std::filesystem::path SettingsStore::refusedFilePath() const {
  return file_.string() + ".refused";
}

SettingsStore::FileState SettingsStore::readFileState() const {
  FileState state;
  std::string contents;
  switch (fileSystem_->readFile(file_, contents, state.reason)) {
    case FileSystem::ReadStatus::Missing:
      state.kind = FileState::Missing;
      return state;
    case FileSystem::ReadStatus::Failed:
      state.kind = FileState::Unreadable;
      return state;
    case FileSystem::ReadStatus::Ok:
      break;
  }
  state.kind = FileState::Refused;
  if (nestedTooDeep(contents)) {
    state.reason = "nested deeper than " + std::to_string(kMaximumDepth) + " levels";
    return state;
  }
  auto root = nlohmann::json::parse(contents, nullptr, /*allow_exceptions=*/false);
  if (root.is_discarded()) {
    state.reason = "not valid JSON (" + std::to_string(contents.size()) + " bytes)";
    return state;
  }
  // value("format", 0) would throw on a non-number and overflow on a huge real.
  if (!root.is_object() || !root.contains("format") || !root["format"].is_number_integer() ||
      root["format"] != kFileFormat || !root.contains("values") || !root["values"].is_object()) {
    state.reason = "unexpected layout or format version";
    return state;
  }
  std::size_t rejected = 0;
  for (const auto& [key, stored] : root["values"].items()) {
    if (!stored.is_object() || !stored.contains("kind") || !stored.contains("value") ||
        !stored["kind"].is_string()) {
      ++rejected;
      continue;
    }
    const auto& kind = stored["kind"].get_ref<const std::string&>();
    Entry entry{stored["value"], kind == "date"};
    // 1e400 parses as infinity, which could not be written back as it was read.
    if ((entry.isDate && !entry.value.is_number()) || !storable(entry.value)) {
      ++rejected;
      continue;
    }
    const char* actual = kindName(entry.value, entry.isDate);
    // A real written as a whole number ("2.0") may come back either way; both are fine.
    bool matches =
        actual != nullptr && (kind == actual || (kind == "real" && entry.value.is_number()));
    if (!matches) {
      ++rejected;
      continue;
    }
    if (kind == "real") entry.value = entry.value.get<double>();
    state.entries.emplace(key, std::move(entry));
  }
  if (rejected > 0) {
    // The readable entries are used; the file itself is kept aside before the next write.
    state.reason = std::to_string(rejected) + " malformed entries skipped";
    return state;
  }
  state.kind = FileState::Read;
  return state;
}

void SettingsStore::load() {
  FileState state = readFileState();
  if (state.kind == FileState::Refused || state.kind == FileState::Unreadable) {
    debugOutput("Failed to load: " + file_.string() + ": " + state.reason);
    DiagnosticEvents::shared()->logEvent("Settings file unreadable",
                                         {{"path", file_.string()}, {"reason", state.reason}});
  }
  std::lock_guard lock(mutex_);
  entries_ = std::move(state.entries);
}

std::string SettingsStore::serialize(const Entries& entries) {
  nlohmann::json values = nlohmann::json::object();
  for (const auto& [key, entry] : entries) {
    values[key] = {{"kind", kindName(entry.value, entry.isDate)}, {"value", entry.value}};
  }
  nlohmann::json root = {{"format", kFileFormat}, {"values", std::move(values)}};
  return root.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

bool SettingsStore::writeChanges() {
  std::lock_guard writeLock(writeMutex_);
  std::map<std::string, PendingChange, std::less<>> pending;
  std::uint64_t generation;
  {
    std::lock_guard lock(mutex_);
    if (generation_ <= writtenGeneration_) return true;  // a newer state is already on disk
    pending = pending_;
    generation = generation_;
  }
  auto fail = [this](const std::string& reason) {
    logError("Could not save settings to " + file_.string() + ": " + reason);
    DiagnosticEvents::shared()->logEvent("Settings file not saved",
                                         {{"path", file_.string()}, {"reason", reason}});
    return false;
  };

  // Other processes write the same file: the change is applied to what the file holds now,
  // under a lock they take too, so no process's keys are lost.
  std::string error;
  auto fileLock = fileSystem_->lockExclusive(file_.string() + ".lock", error);
  if (!fileLock) return fail(error);
  FileState disk = readFileState();
  if (disk.kind == FileState::Unreadable) return fail(disk.reason);
  if (disk.kind == FileState::Refused) {
    // A file this version cannot read may hold what a user or another version needs: it is
    // kept (the last one) before a new file takes its place.
    if (!fileSystem_->rename(file_, refusedFilePath(), error))
      return fail("cannot keep the refused file aside: " + error);
    DiagnosticEvents::shared()->logEvent("Settings file kept aside",
                                         {{"path", file_.string()},
                                          {"kept as", refusedFilePath().string()},
                                          {"reason", disk.reason}});
  }
  Entries entries = std::move(disk.entries);
  for (const auto& [key, change] : pending) {
    if (change.entry)
      entries.insert_or_assign(key, *change.entry);
    else
      entries.erase(key);
  }

  static std::atomic<unsigned> counter{0};
  const auto directory =
      file_.parent_path().empty() ? std::filesystem::path(".") : file_.parent_path();
  const auto temporary = directory / (file_.filename().string() + ".tmp-" +
                                      std::to_string(::getpid()) + "-" + std::to_string(counter++));
  bool ok = fileSystem_->writeFile(temporary, serialize(entries), error);
  if (ok) ok = fileSystem_->rename(temporary, file_, error);
  if (!ok) {
    fileSystem_->removeFile(temporary);
    return fail(error);
  }
  // The new file is in place; without this the rename itself might not survive a crash.
  if (!fileSystem_->syncDirectory(directory, error)) {
    logWarning("Settings saved but directory not flushed: " + error);
  }
  std::lock_guard lock(mutex_);
  // Memory becomes the file's state plus whatever changed here since the snapshot.
  for (auto it = pending_.begin(); it != pending_.end();) {
    if (it->second.generation <= generation) {
      it = pending_.erase(it);
    } else {
      if (it->second.entry)
        entries.insert_or_assign(it->first, *it->second.entry);
      else
        entries.erase(it->first);
      ++it;
    }
  }
  entries_ = std::move(entries);
  writtenGeneration_ = std::max(writtenGeneration_, generation);
  return true;
}

bool SettingsStore::synchronize() {
  if (!fileSystem_) return true;
  return writeChanges();
}

void SettingsStore::store(std::string_view key, std::optional<Entry> entry) {
  std::unique_lock lock(mutex_);
  auto found = entries_.find(key);
  if (entry) {
    if (found != entries_.end()) {
      if (found->second == *entry) return;
      found->second = *entry;
    } else {
      entries_.emplace(std::string(key), *entry);
    }
  } else {
    if (found == entries_.end()) return;
    entries_.erase(found);
  }
  const auto generation = ++generation_;
  if (!fileSystem_) return;
  pending_.insert_or_assign(std::string(key), PendingChange{std::move(entry), generation});
  lock.unlock();
  writeChanges();
}

std::optional<SettingsStore::Entry> SettingsStore::entry(std::string_view key) const {
  std::lock_guard lock(mutex_);
  auto found = entries_.find(key);
  if (found == entries_.end()) return std::nullopt;
  return found->second;
}

std::optional<nlohmann::json> SettingsStore::objectForKey(std::string_view key) const {
  auto found = entry(key);
  if (!found) return std::nullopt;
  return std::move(found->value);
}

double SettingsStore::doubleForKey(std::string_view key) const {
  auto found = entry(key);
  if (!found || found->isDate) return 0;
  const auto& value = found->value;
  if (value.is_number()) return value.get<double>();
  if (value.is_boolean()) return value.get<bool>() ? 1 : 0;
  if (value.is_string()) return leadingNumber(value.get_ref<const std::string&>());
  return 0;
}

std::int64_t SettingsStore::integerForKey(std::string_view key) const {
  auto found = entry(key);
  if (!found || found->isDate) return 0;
  const auto& value = found->value;
  if (value.is_number_integer()) return value.get<std::int64_t>();
  if (value.is_number_unsigned()) return static_cast<std::int64_t>(value.get<std::uint64_t>());
  if (value.is_number_float()) return truncated(value.get<double>());
  if (value.is_boolean()) return value.get<bool>() ? 1 : 0;
  if (value.is_string()) return truncated(leadingNumber(value.get_ref<const std::string&>()));
  return 0;
}

bool SettingsStore::boolForKey(std::string_view key) const {
  auto found = entry(key);
  if (!found || found->isDate) return false;
  const auto& value = found->value;
  if (value.is_boolean()) return value.get<bool>();
  if (value.is_number()) return value.get<double>() != 0;
  if (value.is_string()) {
    std::string text = value.get<std::string>();
    for (auto& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (text == "yes" || text == "true") return true;
    return leadingNumber(text) != 0;
  }
  return false;
}

std::optional<std::string> SettingsStore::stringForKey(std::string_view key) const {
  auto found = entry(key);
  if (!found || found->isDate) return std::nullopt;
  const auto& value = found->value;
  if (value.is_string()) return value.get<std::string>();
  if (value.is_boolean()) return value.get<bool>() ? "1" : "0";
  if (value.is_number()) return value.dump();
  return std::nullopt;
}

std::optional<Date> SettingsStore::dateForKey(std::string_view key) const {
  auto found = entry(key);
  if (!found || !found->isDate) return std::nullopt;
  return Date(found->value.get<double>());
}

std::optional<nlohmann::json> SettingsStore::arrayForKey(std::string_view key) const {
  auto found = entry(key);
  if (!found || !found->value.is_array()) return std::nullopt;
  return std::move(found->value);
}

std::optional<nlohmann::json> SettingsStore::dictionaryForKey(std::string_view key) const {
  auto found = entry(key);
  if (!found || !found->value.is_object()) return std::nullopt;
  return std::move(found->value);
}

bool SettingsStore::contains(std::string_view key) const {
  std::lock_guard lock(mutex_);
  return entries_.find(key) != entries_.end();
}

std::vector<std::string> SettingsStore::keys() const {
  std::lock_guard lock(mutex_);
  std::vector<std::string> result;
  result.reserve(entries_.size());
  for (const auto& [key, entry] : entries_) result.push_back(key);
  return result;
}

nlohmann::json SettingsStore::dictionaryRepresentation() const {
  std::lock_guard lock(mutex_);
  nlohmann::json result = nlohmann::json::object();
  for (const auto& [key, entry] : entries_) result[key] = entry.value;
  return result;
}

void SettingsStore::setObject(std::string_view key, const nlohmann::json& value) {
  if (value.is_null()) return remove(key);
  if (!storable(value)) {
    logWarning("Settings value for \"" + std::string(key) + "\" refused: not storable");
    return;
  }
  store(key, Entry{value, false});
}

void SettingsStore::setInteger(std::string_view key, std::int64_t value) {
  store(key, Entry{value, false});
}

void SettingsStore::setDouble(std::string_view key, double value) {
  if (!std::isfinite(value)) {
    logWarning("Settings value for \"" + std::string(key) + "\" refused: not a finite number");
    return;
  }
  store(key, Entry{value, false});
}

void SettingsStore::setBool(std::string_view key, bool value) {
  store(key, Entry{value, false});
}

void SettingsStore::setString(std::string_view key, std::string_view value) {
  if (!validUtf8(std::string(value))) {
    logWarning("Settings text for \"" + std::string(key) + "\" refused: not UTF-8");
    return;
  }
  store(key, Entry{std::string(value), false});
}

void SettingsStore::setDate(std::string_view key, Date value) {
  if (!std::isfinite(value.timeIntervalSince1970)) {
    logWarning("Settings date for \"" + std::string(key) + "\" refused: not a finite time");
    return;
  }
  store(key, Entry{value.timeIntervalSince1970, true});
}

void SettingsStore::remove(std::string_view key) {
  store(key, std::nullopt);
}

}  // namespace dm
