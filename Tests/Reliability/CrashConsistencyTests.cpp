// Stores under SIGKILL: after every kill the settings file holds one complete version, and
// the main store and the handbook store pass SQLite's integrity check and hold whole batches
// only (count and checksum agreeing), never older than the last write that returned; also
// with another process opening and reading the main store all the while.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include <nlohmann/json.hpp>

#include "Handbook/Adapter/HandbookAdapter.h"
#include "Handbook/Entities/HandbookPostProductEntity.h"
#include "Platform/Foundation/Directories.h"
#include "Platform/Foundation/SettingsStore.h"
#include "Platform/Foundation/WorkQueue.h"
#include "Platform/ObjectStore/FetchRequest.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Platform/ObjectStore/ObjectStoreHelpers.h"
#include "Platform/ObjectStore/StoreTestSupport.h"
#include "Reliability/CrashHarness.h"
#include "Support/HandbookStorageOptions.h"
#include "Support/TempDir.h"
#include "UserData/CoreData/ManagedObjectStore.h"

namespace dm {
namespace {

constexpr int kKills = 120;
constexpr int kKillsBesideReader = 60;

// ---- Settings ----

// Sizes vary so the kill lands in writes of different lengths.
std::string payloadFor(std::int64_t step) {
  std::string payload(static_cast<std::size_t>(step % 40 + 1) * 1500, 'a');
  for (std::size_t i = 0; i < payload.size(); i += 97)
    payload[i] = static_cast<char>('a' + (step + static_cast<std::int64_t>(i)) % 26);
  return payload;
}

TEST(CrashWriter, Settings) {
  if (!test::isCrashWriter()) GTEST_SKIP() << "runs only inside the crash loop";
  SettingsStore store(std::filesystem::path(test::crashDirectory()) / SettingsStore::kFileName);
  for (std::int64_t step = test::crashLastStep() + 1;; ++step) {
    std::string payload = payloadFor(step);
    store.setObject(
        "state",
        {{"step", step}, {"payload", payload}, {"checksum", test::crashChecksum(step, payload)}});
    store.setInteger("lastStep", step);
    test::reportDurable(step);
  }
}

test::CrashCheck checkSettings(const std::filesystem::path& file) {
  if (!std::filesystem::exists(file)) return {};
  auto raw = nlohmann::json::parse(test::readFile(file), nullptr, false);
  if (raw.is_discarded()) return {0, "the settings file is not valid JSON"};
  SettingsStore store(file);
  auto state = store.objectForKey("state");
  if (!state) return {0, "the file lost the state value"};
  if (!state->is_object() || !(*state)["step"].is_number_integer() ||
      !(*state)["payload"].is_string() || !(*state)["checksum"].is_number_unsigned())
    return {0, "the state value is malformed: " + state->dump().substr(0, 200)};
  auto step = (*state)["step"].get<std::int64_t>();
  const auto& payload = (*state)["payload"].get_ref<const std::string&>();
  if ((*state)["checksum"].get<std::uint64_t>() != test::crashChecksum(step, payload) ||
      payload != payloadFor(step))
    return {0, "step " + std::to_string(step) + " has a payload of another version"};
  // The second key is written after the first: it may lag by one, never lead.
  std::int64_t last = store.integerForKey("lastStep");
  if (last != step && last != step - 1)
    return {0, "lastStep " + std::to_string(last) + " beside state step " + std::to_string(step)};
  return {last, ""};
}

TEST(CrashConsistencyTest, SettingsFileIsAlwaysOneCompleteVersion) {
  test::TempDir dir;
  const auto file = dir / SettingsStore::kFileName;
  auto report = test::runCrashLoop(
      "CrashWriter.Settings", dir.path().string(), [&] { return checkSettings(file); }, kKills,
      20261123u);
  EXPECT_EQ(report.failure, "");
  EXPECT_EQ(report.kills, kKills);
  EXPECT_GT(report.lastStep, kKills);
}

// ---- Main store ----
// Batch n saves 1 + n % 7 owners (entityID n*100 + i) and a marker owner (entityID -n)
// named "<count>:<checksum of the batch's names>", all through one context save.

using test::testModel;

std::string ownerName(std::int64_t batch, int i) {
  return "batch " + std::to_string(batch) + " owner " + std::to_string(i) + " " +
         std::string(static_cast<std::size_t>(batch % 13) * 40, 'x');
}

TEST(CrashWriter, MainStore) {
  if (!test::isCrashWriter()) GTEST_SKIP() << "runs only inside the crash loop";
  MainQueue::shared().adoptCurrentThread();
  Directories::setDataRoot(test::crashDirectory());
  auto store = ManagedObjectStore::initWithManagedObjectModel(testModel());
  auto context = store->mainQueueManagedObjectContext();
  for (std::int64_t batch = test::crashLastStep() + 1;; ++batch) {
    const int count = 1 + static_cast<int>(batch % 7);
    std::vector<std::string> names;
    for (int i = 0; i < count; ++i) {
      ManagedObject* owner = context->insertNewObject("Owner");
      owner->setValueForKey("entityID", batch * 100 + i);
      owner->setValueForKey("name", ownerName(batch, i));
      names.push_back(ownerName(batch, i));
    }
    ManagedObject* marker = context->insertNewObject("Owner");
    marker->setValueForKey("entityID", -batch);
    marker->setValueForKey("name", test::batchMarker(batch, names));
    ObjectStoreHelpers::saveToPersistentStoreAndWait(*context);
    test::reportDurable(batch);
  }
}

test::CrashCheck checkMainStore(const std::filesystem::path& root) {
  ManagedObjectStore::resetSharedInstance();
  Directories::setDataRoot(root);
  auto store = ManagedObjectStore::initWithManagedObjectModel(testModel());
  if (!store || store->isInMemory()) return {0, "the store file could not be opened"};
  std::map<std::int64_t, std::string> markers;
  std::map<std::int64_t, std::vector<std::string>> owners;  // by batch, in entityID order
  auto context = store->persistentStoreManagedObjectContext();
  context->performAndWait([&] {
    FetchRequest request(store->managedObjectModel()->entityNamed("Owner"));
    request.sortDescriptors.push_back({"entityID", true});
    for (auto* object : context->executeFetchRequest(request)) {
      std::int64_t id = object->valueForKey("entityID").asInt64();
      std::string name = object->valueForKey("name").asString();
      if (id < 0)
        markers[-id] = name;
      else
        owners[id / 100].push_back(name);
    }
  });
  ManagedObjectStore::resetSharedInstance();
  MainQueue::shared().runUntilIdle();
  if (auto error = test::sqliteIntegrityError(
          (Directories::shared()->documentsDirectory() / ManagedObjectStore::dataBaseFileName)
              .string());
      !error.empty()) {
    return {0, "integrity check: " + error};
  }
  return test::checkWholeBatches(markers, owners, "batch");
}

TEST(CrashConsistencyTest, MainStoreHoldsWholeBatchesOnly) {
  test::TempDir dir;
  MainQueue::shared().adoptCurrentThread();
  auto report = test::runCrashLoop(
      "CrashWriter.MainStore", dir.path().string(), [&] { return checkMainStore(dir.path()); },
      kKills, 7u);
  Directories::setShared(nullptr);
  EXPECT_EQ(report.failure, "");
  EXPECT_EQ(report.kills, kKills);
  EXPECT_GT(report.lastStep, kKills);
}

// A reader process opens the store the way the application does, again and again, while the
// writer is killed beside it: opening must neither recover (delete or move) the writer's file
// nor lose what the writer reported durable. Each open that works adds a byte to
// "reader-reads"; each that does not adds a line to "reader-failures".
TEST(CrashReader, MainStore) {
  if (!test::isCompanion()) GTEST_SKIP() << "runs only beside the crash loop";
  MainQueue::shared().adoptCurrentThread();
  const std::filesystem::path root = test::companionDirectory();
  std::ofstream reads(root / "reader-reads", std::ios::app);
  std::ofstream failures(root / "reader-failures", std::ios::app);
  while (true) {
    ManagedObjectStore::resetSharedInstance();
    MainQueue::shared().runUntilIdle();
    Directories::setDataRoot(root);
    auto store = ManagedObjectStore::initWithManagedObjectModel(testModel());
    if (!store || store->isInMemory()) {
      failures << (store && store->openError() ? store->openError()->what() : "no store") << "\n"
               << std::flush;
      continue;
    }
    auto context = store->persistentStoreManagedObjectContext();
    context->performAndWait([&] {
      FetchRequest request(store->managedObjectModel()->entityNamed("Owner"));
      (void)context->countForFetchRequest(request);
    });
    reads << '.' << std::flush;
  }
}

TEST(CrashConsistencyTest, MainStoreKillsBesideAReaderProcessLoseNothing) {
  test::TempDir dir;
  MainQueue::shared().adoptCurrentThread();
  // The writer creates the file first, so the reader never sees a store being made.
  auto initial = test::runCrashLoop(
      "CrashWriter.MainStore", dir.path().string(), [&] { return checkMainStore(dir.path()); }, 1,
      3u);
  ASSERT_EQ(initial.failure, "");
  auto reader = test::startCompanion("CrashReader.MainStore", dir.path().string());
  auto report = test::runCrashLoop(
      "CrashWriter.MainStore", dir.path().string(), [&] { return checkMainStore(dir.path()); },
      kKillsBesideReader, 13u);
  const bool readerRan = test::stopCompanion(reader);
  Directories::setShared(nullptr);
  EXPECT_EQ(report.failure, "");
  EXPECT_EQ(report.kills, kKillsBesideReader);
  EXPECT_TRUE(readerRan) << "the reader process ended on its own";
  const auto reads = test::readFile(dir / "reader-reads").size();
  ::testing::Test::RecordProperty("readerOpensAndReads", static_cast<int>(reads));
  EXPECT_GT(reads, 0u) << "the reader never read";
  EXPECT_EQ(test::readFile(dir / "reader-failures"), "");
  EXPECT_FALSE(std::filesystem::exists(dir / "Documents" / "Korvalo.sqlite.damaged"));
}

// ---- Handbook store ----
// Batch n is one server update: 1 + n % 5 products (id n*100 + i) and a marker product (id
// n*100 + 99) titled "<count>:<checksum of the batch's titles>", applied and saved through
// the adapter's update path.

std::string productTitle(std::int64_t batch, int i) {
  return "product " + std::to_string(batch) + "." + std::to_string(i) + " " +
         std::string(static_cast<std::size_t>(batch % 11) * 60, 'p');
}

TEST(CrashWriter, HandbookStore) {
  if (!test::isCrashWriter()) GTEST_SKIP() << "runs only inside the crash loop";
  MainQueue::shared().adoptCurrentThread();
  const std::filesystem::path root = test::crashDirectory();
  std::filesystem::create_directories(root / "packs");
  HandbookAdapter adapter(test::handbookStorageOptions(root, SettingsStore::inMemory()));
  for (std::int64_t batch = test::crashLastStep() + 1;; ++batch) {
    const int count = 1 + static_cast<int>(batch % 5);
    nlohmann::json products = nlohmann::json::array();
    std::vector<std::string> titles;
    for (int i = 0; i < count; ++i) {
      products.push_back({{"id", batch * 100 + i}, {"title", productTitle(batch, i)}});
      titles.push_back(productTitle(batch, i));
    }
    products.push_back({{"id", batch * 100 + 99}, {"title", test::batchMarker(batch, titles)}});
    nlohmann::json update{{"status", "changed"}, {"version", batch}, {"post_products", products}};
    if (!adapter.getHandbookUpdateEntityFromPayload(update.dump())) {
      ADD_FAILURE() << "update " << batch << " was refused";
      return;
    }
    adapter.saveAndWait();
    test::reportDurable(batch);
  }
}

test::CrashCheck checkHandbookStore(const std::filesystem::path& root) {
  std::map<std::int64_t, std::string> markers;
  std::map<std::int64_t, std::vector<std::string>> products;  // by batch, in id order
  {
    auto storage =
        HandbookStorage::create(test::handbookStorageOptions(root, SettingsStore::inMemory()));
    if (storage->isInMemory()) return {0, "the handbook store could not be opened"};
    storage->performOnSavingContextAndWait([&](ManagedObjectContext& context) {
      FetchRequest request(storage->entityNamed("HandbookPostProductEntity"));
      request.sortDescriptors.push_back({"entityID", true});
      for (ManagedObject* object : context.executeFetchRequest(request)) {
        std::int64_t id = object->valueForKey("entityID").asInt64();
        std::string title = object->valueForKey("title").asString();
        if (id % 100 == 99)
          markers[id / 100] = title;
        else
          products[id / 100].push_back(title);
      }
    });
  }
  MainQueue::shared().runUntilIdle();
  if (auto error =
          test::sqliteIntegrityError((root / "support" / HandbookStorage::kStoreDirectoryName /
                                      HandbookStorage::kStoreFileName)
                                         .string());
      !error.empty()) {
    return {0, "integrity check: " + error};
  }
  return test::checkWholeBatches(markers, products, "update");
}

TEST(CrashConsistencyTest, HandbookStoreHoldsWholeUpdatesOnly) {
  test::TempDir dir;
  MainQueue::shared().adoptCurrentThread();
  std::filesystem::create_directories(dir / "packs");
  auto report = test::runCrashLoop(
      "CrashWriter.HandbookStore", dir.path().string(),
      [&] { return checkHandbookStore(dir.path()); }, kKills, 11u);
  EXPECT_EQ(report.failure, "");
  EXPECT_EQ(report.kills, kKills);
  EXPECT_GT(report.lastStep, kKills);
}

}  // namespace
}  // namespace dm
