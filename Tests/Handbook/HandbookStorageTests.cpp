// Handbook storage and seed storage: first starts with and without a seed, the restore
// decision across versions and languages, recovery of a corrupt store, refused archives,
// the seed of another language, per-thread contexts and observers.
#include <zip.h>

#include <thread>

#include <gtest/gtest.h>

#include "Handbook/Entities/HandbookPostProductEntity.h"
#include "Handbook/HandbookTestSupport.h"
#include "Platform/Foundation/DiagnosticEvents.h"
#include "Platform/Foundation/Logger.h"
#include "Platform/Foundation/ZipArchive.h"

namespace dm {
namespace {

using test::HandbookEnvironment;

std::size_t productCount(HandbookStorage& storage) {
  FetchRequest request(storage.entityNamed("HandbookPostProductEntity"));
  return storage.count(request, storage.managedObjectMainContext());
}

struct CountingObserver : HandbookStorageDelegate {
  int calls = 0;
  void currentHandbookLocalizationWasLoaded() override { ++calls; }
};

// A pack for "de" that the fixture's seed storage finds.
struct RecordingPackSource : DirectorySeedPackSource {
  using DirectorySeedPackSource::DirectorySeedPackSource;
  std::vector<std::string> tags;
  void beginAccess(const std::string& tag, const std::string& code, Completion done) override {
    tags.push_back(tag);
    DirectorySeedPackSource::beginAccess(tag, code, std::move(done));
  }
};

TEST(HandbookStorageTest, FirstStartWithoutSeedOpensAnEmptyStore) {
  HandbookEnvironment env;
  auto storage = HandbookStorage::create(env.storageOptions());
  EXPECT_FALSE(storage->isInMemory());
  EXPECT_TRUE(std::filesystem::exists(env.storeFile()));
  EXPECT_EQ(productCount(*storage), 0u);
  // Nothing was unpacked, so nothing is recorded and the next start tries again.
  EXPECT_FALSE(env.settings->stringForKey(SeedStorage::kAppVersionWithSavedHandbookKey));
  EXPECT_TRUE(storage->seedStorage()->needsRestore());
}

TEST(HandbookStorageTest, FirstStartUnpacksTheBuiltInSeedAndRecordsIt) {
  HandbookEnvironment env;
  env.writeSeedPack("en", test::smallUpdateDictionary());
  auto packs = std::make_shared<RecordingPackSource>(env.packs);
  auto storage = HandbookStorage::create(
      test::handbookStorageOptions(env.dir.path(), env.settings, "en", "2.0", packs));
  EXPECT_EQ(productCount(*storage), 3u);
  EXPECT_EQ(env.settings->stringForKey(SeedStorage::kAppVersionWithSavedHandbookKey), "2.0");
  EXPECT_EQ(env.settings->stringForKey(SeedStorage::kLocalizationWithSavedHandbookKey), "en");
  EXPECT_TRUE(packs->tags.empty());  // English is current: no fetch
  EXPECT_FALSE(storage->seedStorage()->isFetching());
}

TEST(HandbookStorageTest, NeedsRestoreAcrossVersionsAndLanguages) {
  HandbookEnvironment env;
  auto set = [&](const char* version, const char* language) {
    env.settings->setString(SeedStorage::kAppVersionWithSavedHandbookKey, version);
    env.settings->setString(SeedStorage::kLocalizationWithSavedHandbookKey, language);
  };
  EXPECT_TRUE(env.seedStorage("en", "1.0")->needsRestore());  // nothing saved
  env.settings->setString(SeedStorage::kAppVersionWithSavedHandbookKey, "1.0");
  EXPECT_TRUE(env.seedStorage("en", "1.0")->needsRestore());  // no language saved
  set("1.0", "en");
  EXPECT_FALSE(env.seedStorage("en", "1.0")->needsRestore());
  EXPECT_TRUE(env.seedStorage("en", "1.1")->needsRestore());   // application update
  EXPECT_FALSE(env.seedStorage("de", "1.0")->needsRestore());  // waits for the German seed
  set("1.0", "de");
  EXPECT_TRUE(env.seedStorage("en", "1.0")->needsRestore());  // back to English
  EXPECT_FALSE(env.seedStorage("de", "1.0")->needsRestore());
  EXPECT_FALSE(env.seedStorage("en", "1.0")->isSavedLocalizationCurrent());
}

TEST(HandbookStorageTest, StoreWithoutSavedVersionIsUnpackedAgain) {
  HandbookEnvironment env;
  env.writeSeedPack("en", test::smallUpdateDictionary());
  {
    auto storage = HandbookStorage::create(env.storageOptions());
    auto context = storage->managedObjectBackgroundForSavingContext();
    context->performAndWait([&] {
      context->insertNewObject("HandbookPostProductEntity");
      context->save();
    });
    EXPECT_EQ(productCount(*storage), 4u);
  }
  env.settings->remove(SeedStorage::kAppVersionWithSavedHandbookKey);
  auto storage = HandbookStorage::create(env.storageOptions());
  EXPECT_EQ(productCount(*storage), 3u);
}

TEST(HandbookStorageTest, CorruptStoreIsRestoredFromTheSeed) {
  HandbookEnvironment env;
  env.writeSeedPack("en", test::smallUpdateDictionary());
  { HandbookStorage::create(env.storageOptions()); }
  test::writeFile(env.storeFile(), std::string(8192, 'x'));
  auto events = std::make_shared<RecordingDiagnosticEvents>();
  DiagnosticEvents::setShared(events);
  auto storage = HandbookStorage::create(env.storageOptions());
  DiagnosticEvents::setShared(nullptr);
  EXPECT_FALSE(storage->isInMemory());
  EXPECT_EQ(productCount(*storage), 3u);
  // The damaged file is kept aside, and the event says where.
  ASSERT_EQ(events->events().size(), 1u);
  EXPECT_EQ(events->events()[0].description, "HandbookStorage.storeMovedAside");
  EXPECT_EQ(test::readFile(env.storeFile().string() + ".damaged"), std::string(8192, 'x'));
}

TEST(HandbookStorageTest, UnreadableStoreWithoutSeedFallsBackToMemory) {
  HandbookEnvironment env;
  std::filesystem::create_directories(env.storeFile().parent_path());
  test::writeFile(env.storeFile(), std::string(8192, 'x'));
  auto events = std::make_shared<RecordingDiagnosticEvents>();
  DiagnosticEvents::setShared(events);
  auto storage = HandbookStorage::create(env.storageOptions());
  DiagnosticEvents::setShared(nullptr);
  EXPECT_TRUE(storage->isInMemory());
  // Without a seed to replace it the file stays as it was, for a later start or a person.
  EXPECT_EQ(test::readFile(env.storeFile()), std::string(8192, 'x'));
  const auto recorded = events->events();
  ASSERT_EQ(recorded.size(), 1u);
  const auto& event = recorded.front();
  EXPECT_EQ(event.description, "HandbookStorage HandbookStorage.init()");
  EXPECT_EQ(event.parameters.size(), 5u);
  EXPECT_EQ(event.parameters.at("Is file exist"), "true");
  EXPECT_EQ(event.parameters.at("Is sqlDir exist"), "true");
  EXPECT_EQ(event.parameters.at("Is applicationSupportDirectory exist"), "true");
  EXPECT_EQ(event.parameters.at("Failed to add Handbook persistent store")
                .get<std::string>()
                .rfind("path: " + env.storeFile().string() + " error: ", 0),
            0u);
  // The in-memory store works for this run.
  auto context = storage->managedObjectBackgroundForSavingContext();
  context->performAndWait([&] {
    context->insertNewObject("HandbookPostProductEntity");
    context->save();
  });
  FetchRequest request(storage->entityNamed("HandbookPostProductEntity"));
  EXPECT_EQ(storage->count(request, context), 1u);
}

// An archive whose entry leaves the target directory.
void writeEscapingArchive(const std::filesystem::path& path) {
  int error = 0;
  zip_t* archive = zip_open(path.c_str(), ZIP_CREATE | ZIP_TRUNCATE, &error);
  ASSERT_NE(archive, nullptr);
  static const char kBytes[] = "evil";
  zip_source_t* source = zip_source_buffer(archive, kBytes, sizeof kBytes - 1, 0);
  ASSERT_GE(zip_file_add(archive, "../Handbook.sqlite", source, ZIP_FL_OVERWRITE), 0);
  ASSERT_EQ(zip_close(archive), 0);
}

TEST(HandbookStorageTest, RefusedArchivesLeaveStoreAndSettingsUntouched) {
  HandbookEnvironment env;
  env.writeSeedPack("en", test::smallUpdateDictionary());
  auto storage = HandbookStorage::create(env.storageOptions());
  const std::string before = test::readFile(env.storeFile());
  const auto settingsBefore = env.settings->dictionaryRepresentation();

  // A flipped byte inside the compressed data breaks the CRC (or the stream).
  std::filesystem::path bad = env.dir / "bad.zip";
  std::string bytes = test::readFile(env.packs / "Handbook_en.sqlite");
  bytes[bytes.size() / 2] ^= 0x5a;
  test::writeFile(bad, bytes);
  std::filesystem::path escaping = env.dir / "escaping.zip";
  writeEscapingArchive(escaping);

  auto logger = std::make_shared<RecordingLogger>();
  Logger::setShared(logger);
  for (const auto& archive : {bad, escaping}) {
    EXPECT_FALSE(storage->replaceStoreWithSeed(archive, "de")) << archive;
    EXPECT_EQ(test::readFile(env.storeFile()), before);
    EXPECT_EQ(env.settings->dictionaryRepresentation(), settingsBefore);
  }
  Logger::setShared(nullptr);
  EXPECT_TRUE(logger->contains(LogLevel::Debug, "Could not restore seed database for: "));
  EXPECT_FALSE(std::filesystem::exists(env.support / "Handbook.sqlite"));
  EXPECT_EQ(productCount(*storage), 3u);
}

TEST(HandbookStorageTest, FirstStartInGermanFetchesAndInstallsTheGermanSeed) {
  HandbookEnvironment env;
  env.writeSeedPack("en", test::smallUpdateDictionary("en"));
  auto german = test::smallUpdateDictionary("de");
  german["post_products"].push_back({{"id", 43}, {"title", "Brot"}});
  env.writeSeedPack("de", german);
  auto packs = std::make_shared<RecordingPackSource>(env.packs);
  auto storage = HandbookStorage::create(
      test::handbookStorageOptions(env.dir.path(), env.settings, "de", "1.0", packs));
  int completions = 0;
  storage->setLocalizationWasLoadedCompletion([&] { ++completions; });
  auto observer = std::make_shared<CountingObserver>();
  auto released = std::make_shared<CountingObserver>();
  storage->addObserver(released);
  storage->addObserver(observer);
  released.reset();  // gone before the notification

  EXPECT_EQ(packs->tags, std::vector<std::string>{"handbook_de"});
  EXPECT_EQ(env.settings->stringForKey(SeedStorage::kLocalizationWithSavedHandbookKey), "en");
  EXPECT_FALSE(storage->seedStorage()->isFetching());  // back to idle after the completion
  MainQueue::shared().runUntilIdle();
  EXPECT_EQ(env.settings->stringForKey(SeedStorage::kLocalizationWithSavedHandbookKey), "de");
  EXPECT_EQ(completions, 1);
  EXPECT_EQ(observer->calls, 1);
  EXPECT_EQ(productCount(*storage), 4u);
  storage->seedStorage()->requestSeedIfNeeded();  // German is current now
  EXPECT_EQ(packs->tags.size(), 1u);
}

TEST(HandbookStorageTest, FailedFetchReturnsToIdleAndRetriesOnNetworkChange) {
  HandbookEnvironment env;
  auto seed = env.seedStorage("fr");
  auto logger = std::make_shared<RecordingLogger>();
  Logger::setShared(logger);
  seed->requestSeedIfNeeded();
  Logger::setShared(nullptr);
  EXPECT_TRUE(logger->contains(LogLevel::Debug, "Could not load seed database from ODR: "));
  EXPECT_FALSE(seed->isFetching());
  // A source that completes later: a second request while fetching does nothing.
  std::vector<SeedPackSource::Completion> pending;
  struct LaterSource : SeedPackSource {
    std::vector<SeedPackSource::Completion>* pending;
    int begun = 0;
    void beginAccess(const std::string&, const std::string&, Completion done) override {
      ++begun;
      pending->push_back(std::move(done));
    }
    std::optional<std::filesystem::path> resourcePath(const std::string&) override {
      return std::nullopt;
    }
  };
  auto later = std::make_shared<LaterSource>();
  later->pending = &pending;
  SeedStorage::Options options;
  options.settings = env.settings;
  options.currentLocalization = "fr";
  options.packSource = later;
  auto waiting = SeedStorage::create(options);
  waiting->requestSeedIfNeeded();
  waiting->networkStatusChanged();
  EXPECT_EQ(later->begun, 1);
  EXPECT_TRUE(waiting->isFetching());
  pending.front()(std::nullopt);  // resource missing: silently back to idle
  EXPECT_FALSE(waiting->isFetching());
  waiting->networkStatusChanged();
  EXPECT_EQ(later->begun, 2);
}

TEST(HandbookStorageTest, ThreadContextsAreReusedUntilTheirVersionChanges) {
  HandbookEnvironment env;
  auto storage = HandbookStorage::create(env.storageOptions());
  EXPECT_EQ(storage->contextForCurrentThread(), storage->managedObjectMainContext());
  std::shared_ptr<ManagedObjectContext> first, second, third;
  std::thread worker([&] {
    first = storage->contextForCurrentThread();
    second = storage->contextForCurrentThread();
    HandbookStorage::setThreadContextCacheVersion(1);
    third = storage->contextForCurrentThread();
  });
  worker.join();
  EXPECT_EQ(first, second);
  EXPECT_NE(first, third);
  EXPECT_NE(first, storage->managedObjectMainContext());
  EXPECT_EQ(first->parentContext(), storage->managedObjectMainContext());
}

}  // namespace
}  // namespace dm
