// The seed logic of the handbook: whether the stored handbook still fits the application
// version and interface language, fetching the seed of the current language, and unpacking a
// seed archive over the handbook store.
#pragma once

#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "Handbook/Storage/SeedPackSource.h"
#include "Platform/Foundation/SettingsStore.h"
#include "Platform/Host/NetworkMonitor.h"

namespace dm {

// Told when the seed archive of a language has been fetched. Called on whatever thread the
// pack source completes on.
class SeedStorageDelegate {
 public:
  virtual ~SeedStorageDelegate() = default;
  virtual void seedDatabaseWasLoaded(const std::filesystem::path& seedArchive,
                                     const std::string& languageCode) = 0;
};

// Every method may be called from any thread; the fetch state is guarded by a mutex.
class SeedStorage : public std::enable_shared_from_this<SeedStorage> {
 public:
  static constexpr const char* kAppVersionWithSavedHandbookKey = "appVersionWithSavedHandbookKey";
  static constexpr const char* kLocalizationWithSavedHandbookKey =
      "localizationWithSavedHandbookKey";

  struct Options {
    std::shared_ptr<SettingsStore> settings;         // null: SettingsStore::standard()
    std::optional<std::string> currentVersion;       // unset: ApplicationVersion::current()
    std::optional<std::string> currentLocalization;  // unset: currentInterfaceLanguage()
    // Seeds of other languages and the built-in seed. null: the process-wide pack source.
    std::shared_ptr<SeedPackSource> packSource;
    // Drives networkStatusChanged(); started by create(). null: NetworkMonitor::makeDefault().
    std::shared_ptr<NetworkMonitor> networkMonitor;
  };
  static std::shared_ptr<SeedStorage> create(Options options);
  static std::shared_ptr<SeedStorage> create() { return create(Options{}); }

  // The process-wide instance, created on first use with default options. Any thread.
  static std::shared_ptr<SeedStorage> shared();
  // Replaces the process-wide instance (hosts and tests); nullptr: create anew on next use.
  static void setShared(std::shared_ptr<SeedStorage> storage);
  // The pack source used by default: packs in <application support>/SeedPacks, then the seeds
  // shipped with the library (ShippedSeeds.h), unless the host sets another (a downloader, the
  // application's resources). Any thread.
  static std::shared_ptr<SeedPackSource> defaultPackSource();
  static void setDefaultPackSource(std::shared_ptr<SeedPackSource> source);

  const std::string& currentVersion() const { return currentVersion_; }
  const std::string& currentLocalization() const { return currentLocalization_; }
  const std::shared_ptr<SeedPackSource>& packSource() const { return packSource_; }
  const std::shared_ptr<SettingsStore>& settings() const { return settings_; }
  const std::shared_ptr<NetworkMonitor>& networkMonitor() const { return networkMonitor_; }

  void setDelegate(std::weak_ptr<SeedStorageDelegate> delegate);

  // The saved handbook language equals the current one.
  bool isSavedLocalizationCurrent() const;
  // The stored handbook must be replaced by the built-in seed: no or another saved version,
  // no saved language, or another language saved while the current one is English.
  bool needsRestore() const;
  // Starts fetching the current language's seed unless it is the saved one or a fetch is
  // under way. On success the delegate gets the archive; on failure "Could not load seed
  // database from ODR: " + error goes to the debug output. Either way the storage is idle
  // again afterwards, so a later call retries.
  void requestSeedIfNeeded();
  // True while a fetch is under way.
  bool isFetching() const;
  // The network monitor's callback: any change of network status retries a pending fetch.
  void networkStatusChanged();
  // Unzips `seedArchive` into a staging directory beside the store file (CRC-checked, all or
  // nothing, no entry may leave it), checks that it holds a database of the store file's name
  // that passes SQLite's quick integrity check, and only then moves it over the store file
  // (removing the old file's journals) and records the version and `languageCode`. On
  // failure "Could not restore seed database for: " + error goes to the debug output, the
  // store files and settings are unchanged and false is returned. The caller makes sure no
  // connection writes the old store meanwhile.
  bool restoreSeed(const std::filesystem::path& seedArchive, const std::filesystem::path& storeFile,
                   const std::string& languageCode);
  // The archive of the built-in English seed when present.
  std::optional<std::filesystem::path> builtInSeed() const;

  struct Private {};
  SeedStorage(Private, Options options);

 private:
  const std::shared_ptr<SettingsStore> settings_;
  const std::string currentVersion_;
  const std::string currentLocalization_;
  const std::shared_ptr<SeedPackSource> packSource_;
  const std::shared_ptr<NetworkMonitor> networkMonitor_;
  mutable std::mutex mutex_;
  std::weak_ptr<SeedStorageDelegate> delegate_;  // guarded by mutex_
  std::optional<std::string> odrRequest_;        // the tag being fetched; guarded by mutex_
};

}  // namespace dm
