// Seed decisions, seed fetching and unpacking of the handbook.
#include "Handbook/Storage/SeedStorage.h"

#include <sqlite3.h>
#include <unistd.h>

#include <atomic>
#include <system_error>

#include "Handbook/Storage/ShippedSeeds.h"
#include "Platform/Foundation/Directories.h"
#include "Platform/Foundation/LocaleServices.h"
#include "Platform/Foundation/Logger.h"
#include "Platform/Foundation/ZipArchive.h"
#include "Platform/Host/ApplicationVersion.h"

namespace dm {

namespace {
std::mutex gSharedMutex;
std::shared_ptr<SeedStorage> gShared;         // guarded by gSharedMutex
std::shared_ptr<SeedPackSource> gPackSource;  // guarded by gSharedMutex

std::string tagFor(const std::string& code) {
  return "handbook_" + code;
}

// Journal files SQLite keeps beside a store; a journal of the old file left beside the new
// one would be applied to it.
const char* const kJournals[] = {"-wal", "-shm", "-journal"};

// An empty text when `file` is an SQLite database that passes the quick integrity check,
// else why not. Opened read-write because a write-ahead-log file needs its shared memory.
std::string checkDatabase(const std::filesystem::path& file) {
  std::error_code ec;
  if (!std::filesystem::is_regular_file(file, ec))
    return "the archive holds no " + file.filename().string();
  sqlite3* db = nullptr;
  std::string problem;
  if (sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK) {
    problem = db ? sqlite3_errmsg(db) : "out of memory";
  } else {
    sqlite3_stmt* stmt = nullptr;
    if (sqlite3_prepare_v2(db, "PRAGMA quick_check", -1, &stmt, nullptr) != SQLITE_OK) {
      problem = sqlite3_errmsg(db);
    } else {
      int rc = sqlite3_step(stmt);
      if (rc != SQLITE_ROW) {
        problem = sqlite3_errmsg(db);
      } else {
        auto* text = reinterpret_cast<const char*>(sqlite3_column_text(stmt, 0));
        if (!text || std::string(text) != "ok") problem = text ? text : "integrity check failed";
      }
    }
    sqlite3_finalize(stmt);
  }
  sqlite3_close_v2(db);
  return problem.empty() ? problem : file.filename().string() + ": " + problem;
}

// A fresh directory beside the store for one extraction.
std::filesystem::path stagingDirectory(const std::filesystem::path& storeDirectory) {
  static std::atomic<unsigned> counter{0};
  return storeDirectory /
         (".seed-staging-" + std::to_string(::getpid()) + "-" + std::to_string(counter++));
}

// Moves the checked seed file over the store file. The old journals go first, so that no
// moment exists where the new file sits beside the old file's write-ahead log.
void installStoreFile(const std::filesystem::path& staged, const std::filesystem::path& storeFile) {
  for (const char* suffix : kJournals) {
    std::error_code ec;
    std::filesystem::remove(storeFile.string() + suffix, ec);
  }
  std::filesystem::rename(staged, storeFile);  // throws filesystem_error
}

std::shared_ptr<SeedPackSource> makeDefaultPackSource() {
  return makePackSourceWithShippedSeeds(Directories::shared()->applicationSupportDirectory() /
                                        "SeedPacks");
}
}  // namespace

std::shared_ptr<SeedStorage> SeedStorage::create(Options options) {
  auto storage = std::make_shared<SeedStorage>(Private{}, std::move(options));
  std::weak_ptr<SeedStorage> weak = storage;
  storage->networkMonitor_->setHandler([weak](NetworkStatus) {
    if (auto self = weak.lock()) self->networkStatusChanged();
  });
  storage->networkMonitor_->start();
  return storage;
}

SeedStorage::SeedStorage(Private, Options options)
    : settings_(options.settings ? options.settings : SettingsStore::standard()),
      currentVersion_(options.currentVersion ? *options.currentVersion
                                             : ApplicationVersion::current()),
      currentLocalization_(options.currentLocalization ? *options.currentLocalization
                                                       : currentInterfaceLanguage()),
      packSource_(options.packSource ? options.packSource : defaultPackSource()),
      networkMonitor_(options.networkMonitor ? options.networkMonitor
                                             : NetworkMonitor::makeDefault()) {}

std::shared_ptr<SeedStorage> SeedStorage::shared() {
  std::lock_guard lock(gSharedMutex);
  if (!gShared) {
    Options options;
    if (!gPackSource) gPackSource = makeDefaultPackSource();
    options.packSource = gPackSource;
    gShared = create(std::move(options));
  }
  return gShared;
}

void SeedStorage::setShared(std::shared_ptr<SeedStorage> storage) {
  std::lock_guard lock(gSharedMutex);
  gShared = std::move(storage);
}

std::shared_ptr<SeedPackSource> SeedStorage::defaultPackSource() {
  std::lock_guard lock(gSharedMutex);
  if (!gPackSource) gPackSource = makeDefaultPackSource();
  return gPackSource;
}

void SeedStorage::setDefaultPackSource(std::shared_ptr<SeedPackSource> source) {
  std::lock_guard lock(gSharedMutex);
  gPackSource = std::move(source);
}

void SeedStorage::setDelegate(std::weak_ptr<SeedStorageDelegate> delegate) {
  std::lock_guard lock(mutex_);
  delegate_ = std::move(delegate);
}

bool SeedStorage::isSavedLocalizationCurrent() const {
  auto saved = settings_->stringForKey(kLocalizationWithSavedHandbookKey);
  return saved && *saved == currentLocalization_;
}

bool SeedStorage::needsRestore() const {
  auto version = settings_->stringForKey(kAppVersionWithSavedHandbookKey);
  if (!version || *version != currentVersion_) return true;
  if (!settings_->stringForKey(kLocalizationWithSavedHandbookKey)) return true;
  if (isSavedLocalizationCurrent()) return false;
  // Back to English restores the built-in seed; another language waits for its own seed.
  return currentLocalization_ == "en";
}

void SeedStorage::requestSeedIfNeeded() {
  const std::string tag = tagFor(currentLocalization_);
  {
    std::lock_guard lock(mutex_);
    if (odrRequest_ || isSavedLocalizationCurrent()) return;
    odrRequest_ = tag;
  }
  std::weak_ptr<SeedStorage> weakSelf = weak_from_this();
  std::shared_ptr<SeedPackSource> source = packSource_;
  const std::string code = currentLocalization_;
  source->beginAccess(tag, code, [weakSelf, source, tag, code](const auto& error) {
    auto self = weakSelf.lock();
    if (!self) return;
    if (error) {
      debugOutput("Could not load seed database from ODR: " + *error);
    } else if (auto archive = source->resourcePath(seedResourceFileName(code))) {
      std::shared_ptr<SeedStorageDelegate> delegate;
      {
        std::lock_guard lock(self->mutex_);
        delegate = self->delegate_.lock();
      }
      if (delegate) delegate->seedDatabaseWasLoaded(*archive, code);
    }
    source->endAccess(tag);
    std::lock_guard lock(self->mutex_);
    self->odrRequest_.reset();
  });
}

bool SeedStorage::isFetching() const {
  std::lock_guard lock(mutex_);
  return odrRequest_.has_value();
}

void SeedStorage::networkStatusChanged() {
  requestSeedIfNeeded();
}

bool SeedStorage::restoreSeed(const std::filesystem::path& seedArchive,
                              const std::filesystem::path& storeFile,
                              const std::string& languageCode) {
  // The archive is extracted and its database checked beside the store first: the store is
  // replaced only by a seed known to be good, so a refused pack leaves the handbook as it was.
  const auto directory = storeFile.parent_path();
  const auto staging = stagingDirectory(directory);
  std::string problem;
  try {
    zip::extract(seedArchive, staging);
    problem = checkDatabase(staging / storeFile.filename());
    if (problem.empty()) {
      for (const auto& entry : std::filesystem::directory_iterator(staging)) {
        if (entry.path().filename() == storeFile.filename()) continue;
        auto target = directory / entry.path().filename();
        std::error_code ec;
        if (!std::filesystem::is_directory(target, ec)) std::filesystem::rename(entry, target);
      }
      installStoreFile(staging / storeFile.filename(), storeFile);
    }
  } catch (const std::exception& error) {
    problem = error.what();
  }
  std::error_code ec;
  std::filesystem::remove_all(staging, ec);
  if (!problem.empty()) {
    debugOutput("Could not restore seed database for: " + problem);
    return false;
  }
  settings_->setString(kAppVersionWithSavedHandbookKey, currentVersion_);
  settings_->setString(kLocalizationWithSavedHandbookKey, languageCode);
  return true;
}

std::optional<std::filesystem::path> SeedStorage::builtInSeed() const {
  return packSource_->resourcePath(seedResourceFileName("en"));
}

}  // namespace dm
