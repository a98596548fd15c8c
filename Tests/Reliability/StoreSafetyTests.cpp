// Stored data survives everything that is not corruption: another connection's write lock
// during open, a full file system, a read-only mount, a refused seed pack after a version
// change and two settings writers on one file (refused settings files: SettingsStoreTests).
// Corruption itself is recovered with the damaged file kept aside.
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/mount.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "Handbook/Adapter/HandbookAdapter.h"
#include "Platform/Foundation/Directories.h"
#include "Platform/Foundation/SettingsStore.h"
#include "Platform/Foundation/WorkQueue.h"
#include "Platform/Foundation/ZipArchive.h"
#include "Platform/ObjectStore/FetchRequest.h"
#include "Platform/ObjectStore/ObjectStoreHelpers.h"
#include "Platform/ObjectStore/StoreTestSupport.h"
#include "Support/HandbookStorageOptions.h"
#include "Support/RecordingSinks.h"
#include "Support/TempDir.h"
#include "UserData/CoreData/ManagedObjectStore.h"

namespace dm {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

using test::testModel;

// The test model with one more attribute on Owner: opening a file of the first model with it
// needs a migration, so a write transaction.
std::shared_ptr<const ManagedObjectModel> widerTestModel() {
  static auto model = [] {
    auto text = json::parse(test::readFile(test::fixturePath("Models/TestModel.json")));
    for (auto& entity : text["entities"])
      if (entity["name"] == "Owner")
        entity["attributes"].push_back({{"name", "nickname"}, {"type", "string"}});
    return ManagedObjectModel::fromJson(text.dump());
  }();
  return model;
}

// A mount made for one test and removed when it ends; skipped where mounting is not allowed.
class ScopedMount {
 public:
  ~ScopedMount() {
    if (!target_.empty()) ::umount2(target_.c_str(), MNT_DETACH);
  }
  // A tmpfs of `bytes` at `target`; false with `error` set when the system refuses.
  bool tmpfs(const fs::path& target, std::size_t bytes, std::string& error) {
    fs::create_directories(target);
    std::string options = "size=" + std::to_string(bytes);
    if (::mount("tmpfs", target.c_str(), "tmpfs", 0, options.c_str()) != 0) {
      error = std::strerror(errno);
      return false;
    }
    target_ = target;
    return true;
  }
  // `source` shown read-only at `target`.
  bool readOnlyBind(const fs::path& source, const fs::path& target, std::string& error) {
    fs::create_directories(target);
    if (::mount(source.c_str(), target.c_str(), nullptr, MS_BIND, nullptr) != 0) {
      error = std::strerror(errno);
      return false;
    }
    target_ = target;
    if (::mount(nullptr, target.c_str(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr) != 0) {
      error = std::strerror(errno);
      return false;
    }
    return true;
  }

 private:
  fs::path target_;
};

class StoreSafetyTest : public ::testing::Test {
 protected:
  void SetUp() override {
    MainQueue::shared().adoptCurrentThread();
    ManagedObjectStore::resetSharedInstance();
    useDataRoot(dir.path());
  }
  void TearDown() override {
    closeStore();
    PersistentStore::setBusyTimeout(PersistentStore::kBusyTimeoutMilliseconds);
    Directories::setShared(nullptr);
  }

  void useDataRoot(const fs::path& root) {
    dataRoot = root;
    Directories::setDataRoot(root);
  }
  fs::path storeFile() const {
    return dataRoot / "Documents" / ManagedObjectStore::dataBaseFileName;
  }
  std::shared_ptr<ManagedObjectStore> openStore(
      std::shared_ptr<const ManagedObjectModel> model = testModel()) {
    closeStore();
    return ManagedObjectStore::initWithManagedObjectModel(std::move(model));
  }
  void closeStore() {
    ManagedObjectStore::resetSharedInstance();
    MainQueue::shared().runUntilIdle();
  }
  // Saves owners first..first+count-1 in one save; rethrows the save's StoreError.
  static void insertOwners(ManagedObjectStore& store, std::int64_t first, int count,
                           std::size_t nameBytes = 16) {
    auto context = store.mainQueueManagedObjectContext();
    for (int i = 0; i < count; ++i) {
      ManagedObject* owner = context->insertNewObject("Owner");
      owner->setValueForKey("entityID", first + i);
      owner->setValueForKey("name", std::string(nameBytes, static_cast<char>('a' + i % 26)));
    }
    ObjectStoreHelpers::saveToPersistentStoreAndWait(*context);
  }
  static std::vector<std::int64_t> ownerIDs(ManagedObjectStore& store) {
    auto root = store.persistentStoreManagedObjectContext();
    std::vector<std::int64_t> ids;
    root->performAndWait([&] {
      FetchRequest request(store.managedObjectModel()->entityNamed("Owner"));
      request.sortDescriptors.push_back({"entityID", true});
      for (auto* object : root->executeFetchRequest(request))
        ids.push_back(object->valueForKey("entityID").asInt64());
    });
    return ids;
  }
  bool loggedRemoval() const {
    for (const auto& entry : sinks.logger->entries())
      if (entry.message == "Removing existing SQLite persistent store.") return true;
    return false;
  }

  test::TempDir dir;
  fs::path dataRoot;
  test::RecordingSinks sinks;
};

// A second connection that takes the write lock the way another process would.
class OutsideWriter {
 public:
  explicit OutsideWriter(const fs::path& file) {
    EXPECT_EQ(sqlite3_open_v2(file.c_str(), &db_, SQLITE_OPEN_READWRITE, nullptr), SQLITE_OK);
    exec("BEGIN IMMEDIATE");
  }
  ~OutsideWriter() { sqlite3_close_v2(db_); }
  void exec(const std::string& sql) {
    char* error = nullptr;
    EXPECT_EQ(sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, &error), SQLITE_OK)
        << sql << ": " << (error ? error : "");
    sqlite3_free(error);
  }

 private:
  sqlite3* db_ = nullptr;
};

std::vector<std::int64_t> range(std::int64_t first, std::int64_t last) {
  std::vector<std::int64_t> out;
  for (std::int64_t i = first; i <= last; ++i) out.push_back(i);
  return out;
}

TEST_F(StoreSafetyTest, OpeningBesideAnOutsideWriteLockReadsWithoutWaitingAndLosesNothing) {
  insertOwners(*openStore(), 1, 5);
  closeStore();

  OutsideWriter outside(storeFile());
  outside.exec("UPDATE \"Record\" SET name = 'outside' WHERE entityID = 1");
  // The model matches, so opening only reads: no wait for the lock, no recovery.
  auto store = openStore();
  ASSERT_FALSE(store->isInMemory());
  EXPECT_EQ(ownerIDs(*store), range(1, 5));
  outside.exec("COMMIT");

  insertOwners(*store, 6, 1);
  store = openStore();
  EXPECT_EQ(ownerIDs(*store), range(1, 6));
  EXPECT_FALSE(loggedRemoval());
  EXPECT_TRUE(sinks.events->events().empty());
  EXPECT_FALSE(fs::exists(storeFile().string() + ".damaged"));
}

TEST_F(StoreSafetyTest, MigrationBlockedByAnOutsideLockIsReportedBusyAndTheFileKept) {
  insertOwners(*openStore(), 1, 5);
  closeStore();
  {
    OutsideWriter outside(storeFile());
    PersistentStore::setBusyTimeout(50);  // the lock is held throughout; no need to wait long
    auto store = openStore(widerTestModel());
    ASSERT_TRUE(store->isInMemory());
    ASSERT_TRUE(store->openError().has_value());
    EXPECT_EQ(store->openError()->kind(), StoreFailureKind::Busy) << store->openError()->what();
    EXPECT_FALSE(loggedRemoval());
    ASSERT_EQ(sinks.events->events().size(), 1u);
    EXPECT_EQ(sinks.events->events()[0].description,
              "ManagedObjectStore.initializeContextWithStorePath");
    outside.exec("COMMIT");
  }
  PersistentStore::setBusyTimeout(PersistentStore::kBusyTimeoutMilliseconds);
  auto store = openStore(widerTestModel());
  ASSERT_FALSE(store->isInMemory());
  EXPECT_EQ(ownerIDs(*store), range(1, 5));
}

TEST_F(StoreSafetyTest, CorruptStoreIsMovedAsideKeepingOnlyTheLastDamagedCopy) {
  for (const std::string& garbage : {std::string(4096, 'x'), std::string(8192, 'y')}) {
    closeStore();
    fs::create_directories(storeFile().parent_path());
    test::writeFile(storeFile(), garbage);
    auto store = openStore();
    ASSERT_FALSE(store->isInMemory());
    EXPECT_TRUE(ownerIDs(*store).empty());
    EXPECT_EQ(test::readFile(storeFile().string() + ".damaged"), garbage);
  }
  std::size_t aside = 0;
  for (const auto& entry : fs::directory_iterator(storeFile().parent_path()))
    if (entry.path().extension() == ".damaged") ++aside;
  EXPECT_EQ(aside, 1u);
}

TEST_F(StoreSafetyTest, FullFileSystemIsAnErrorThatKeepsEveryStoredRecord) {
  ScopedMount mount;
  std::string error;
  if (!mount.tmpfs(dir / "small", 3 << 20, error))
    GTEST_SKIP() << "cannot mount a 3 MB tmpfs here (" << error
                 << "); the full-disk case needs a file system that can fill up";
  useDataRoot(dir / "small");
  insertOwners(*openStore(), 1, 5);
  SettingsStore settings(dataRoot / SettingsStore::kFileName);
  settings.setInteger("kept", 1);
  const std::string settingsBefore = test::readFile(settings.filePath());

  {  // Fill what is left.
    std::ofstream filler(dataRoot / "filler", std::ios::binary);
    std::string block(64 << 10, 'f');
    while (filler.write(block.data(), static_cast<std::streamsize>(block.size()))) {
    }
  }
  auto store = openStore();  // opening a current store writes nothing, so it works
  ASSERT_FALSE(store->isInMemory());
  try {
    insertOwners(*store, 100, 400, 4096);
    ADD_FAILURE() << "a save of 1.6 MB succeeded on a full file system";
  } catch (const StoreError& failure) {
    EXPECT_EQ(failure.kind(), StoreFailureKind::Full) << failure.what();
  }
  settings.setInteger("lost", 2);
  EXPECT_FALSE(settings.synchronize());
  EXPECT_EQ(test::readFile(settings.filePath()), settingsBefore);

  store = openStore();
  ASSERT_FALSE(store->isInMemory());
  EXPECT_EQ(ownerIDs(*store), range(1, 5));
  EXPECT_FALSE(loggedRemoval());
  fs::remove(dataRoot / "filler");
  EXPECT_TRUE(settings.synchronize());
  EXPECT_EQ(SettingsStore(settings.filePath()).integerForKey("lost"), 2);
}

// Running as root, file modes do not stop writes; a read-only bind mount does.
TEST_F(StoreSafetyTest, ReadOnlyStoreIsReportedAndNotRecovered) {
  insertOwners(*openStore(), 1, 5);
  closeStore();
  const std::string before = test::readFile(storeFile());
  ScopedMount mount;
  std::string error;
  if (!mount.readOnlyBind(dir.path(), dir / "ro", error))
    GTEST_SKIP() << "cannot make a read-only bind mount here (" << error << ")";
  useDataRoot(dir / "ro");

  auto store = openStore(widerTestModel());  // a write is needed to migrate
  ASSERT_TRUE(store->isInMemory());
  ASSERT_TRUE(store->openError().has_value());
  EXPECT_FALSE(store->openError()->isCorruption()) << store->openError()->what();
  EXPECT_FALSE(loggedRemoval());
  closeStore();
  EXPECT_EQ(test::readFile(storeFile()), before);
}

// ---- Handbook seed on a version change ----

std::size_t productCount(HandbookStorage& storage) {
  return storage.count(FetchRequest(storage.entityNamed("HandbookPostProductEntity")));
}

TEST_F(StoreSafetyTest, RefusedSeedPackOnAVersionChangeKeepsTheHandbookAndItsUpdates) {
  auto settings = SettingsStore::inMemory();
  fs::create_directories(dir / "packs");
  {
    HandbookAdapter adapter(test::handbookStorageOptions(dir.path(), settings, "en", "1.0"));
    json update{{"status", "changed"},
                {"version", 4},
                {"post_products", {{{"id", 1}, {"title", "a"}}, {{"id", 2}, {"title", "b"}}}}};
    ASSERT_NE(adapter.getHandbookUpdateEntityFromPayload(update.dump()), nullptr);
    adapter.saveAndWait();
  }
  MainQueue::shared().runUntilIdle();
  settings->setString(SeedStorage::kAppVersionWithSavedHandbookKey, "1.0");
  settings->setString(SeedStorage::kLocalizationWithSavedHandbookKey, "en");

  const fs::path pack = dir / "packs" / "Handbook_en.sqlite";
  test::writeFile(dir / "garbage.sqlite", std::string(8192, 'g'));
  const std::vector<std::pair<std::string, std::function<void()>>> badPacks = {
      {"not an archive", [&] { test::writeFile(pack, "PK\x03\x04 truncated"); }},
      {"an archive of a damaged database",
       [&] {
         zip::create(pack, {{"Handbook.sqlite", dir / "garbage.sqlite"}});
       }},
      {"an archive without the database",
       [&] {
         zip::create(pack, {{"Other.sqlite", dir / "garbage.sqlite"}});
       }},
  };
  for (const auto& [name, write] : badPacks) {
    SCOPED_TRACE(name);
    write();
    auto storage =
        HandbookStorage::create(test::handbookStorageOptions(dir.path(), settings, "en", "2.0"));
    ASSERT_FALSE(storage->isInMemory());
    EXPECT_EQ(productCount(*storage), 2u);
    EXPECT_EQ(settings->stringForKey(SeedStorage::kAppVersionWithSavedHandbookKey), "1.0");
  }
  std::size_t leftovers = 0;
  for (const auto& entry : fs::directory_iterator(dir / "support" / "sqlData"))
    if (entry.path().filename().string().rfind(".seed-staging", 0) == 0) ++leftovers;
  EXPECT_EQ(leftovers, 0u);
}

TEST_F(StoreSafetyTest, HandbookUpdatesNestedTooDeepAreRefusedOrReadEmptyNotCrashed) {
  auto settings = SettingsStore::inMemory();
  fs::create_directories(dir / "packs");
  HandbookAdapter adapter(test::handbookStorageOptions(dir.path(), settings, "en", "1.0"));
  constexpr int kDepth = 100000;
  // Built as text: copying or printing such a tree would itself recurse 100k levels.
  const std::string text = R"({"status":"changed","version":5,"post_exercises":[{"id":1,)"
                           R"("title":"deep","execution_order":)" +
                           std::string(kDepth, '[') + std::string(kDepth, ']') + "}]}";
  const json update = json::parse(text);  // the parser itself does not recurse
  // The text is past the fast parser's depth, so it would go to the tree parser.
  EXPECT_EQ(adapter.getHandbookUpdateEntityFromPayload(text), nullptr);
  // A caller's own tree: the record is stored, the deep value reads as empty.
  auto* batch = adapter.getHandbookUpdateEntityFromRequest(update);
  ASSERT_NE(batch, nullptr);
  adapter.saveAndWait();
  auto storage = adapter.storage();
  EXPECT_EQ(storage->count(FetchRequest(storage->entityNamed("HandbookPostExerciseEntity"))), 1u);

  // The same version again refreshes its entry instead of adding a second one.
  json again{{"status", "changed"}, {"version", 5}, {"post_articles", {{{"id", 2}}}}};
  ASSERT_NE(adapter.getHandbookUpdateEntityFromRequest(again), nullptr);
  adapter.saveAndWait();
  EXPECT_EQ(storage->count(FetchRequest(storage->entityNamed("HandbookUpdateEntity"))), 1u);
  MainQueue::shared().runUntilIdle();
}

// ---- Settings ----

TEST_F(StoreSafetyTest, TwoSettingsStoresOnOneFileKeepEachOthersKeys) {
  const fs::path file = dir / SettingsStore::kFileName;
  SettingsStore first(file);
  SettingsStore second(file);  // loaded before the first one wrote anything
  first.setInteger("a", 1);
  second.setInteger("b", 2);
  first.setInteger("c", 3);
  second.remove("a");
  SettingsStore reopened(file);
  EXPECT_EQ(reopened.keys(), (std::vector<std::string>{"b", "c"}));
  EXPECT_EQ(first.keys(), (std::vector<std::string>{"a", "b", "c"}));  // as of its last write
}

}  // namespace
}  // namespace dm
