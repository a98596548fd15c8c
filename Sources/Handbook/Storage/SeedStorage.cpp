// Seed decisions, seed fetching and unpacking of the handbook.
#include "Handbook/Storage/SeedStorage.h"

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
  try {
    zip::extract(seedArchive, storeFile.parent_path());
  } catch (const std::exception& error) {
    debugOutput(std::string("Could not restore seed database for: ") + error.what());
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
