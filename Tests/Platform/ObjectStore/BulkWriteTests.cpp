// Bulk writes: many chunked saves committed or rolled back as one.
#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>

#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Platform/ObjectStore/PersistentStore.h"
#include "StoreTestSupport.h"

namespace dm::test {
namespace {

// A second connection to the file: sees committed rows only. Opened before a bulk write
// starts (opening checks the schema under the write lock).
struct Reader {
  explicit Reader(const std::string& path)
      : store(PersistentStore::open(testModel(), StoreType::SQLite, path)),
        context(ManagedObjectContext::createRoot(store, ConcurrencyType::MainQueue, "reader")) {}
  std::size_t count(const char* entity) {
    return context->countForFetchRequest(FetchRequest(store->model().entityNamed(entity)));
  }
  std::shared_ptr<PersistentStore> store;
  std::shared_ptr<ManagedObjectContext> context;
};

// Inserts `n` Tags labelled first..first+n-1 and saves them.
std::vector<ManagedObject*> saveChunk(ManagedObjectContext& context, int first, int n) {
  std::vector<ManagedObject*> out;
  for (int i = first; i < first + n; ++i) {
    out.push_back(context.insertNewObject("Tag"));
    out.back()->setValueForKey("label", "tag " + std::to_string(i));
  }
  context.save();
  return out;
}

TEST(BulkWriteTest, ChunksCommitTogetherWhileObjectsAreReleased) {
  TempDir dir;
  StoreFixture f(dir);
  Reader reader(f.path);
  std::size_t didSave = 0;
  auto token =
      f.root->addObserver(ContextNotification::DidSave, [&](const ContextChanges&) { ++didSave; });
  {
    BulkWrite bulk = f.root->beginBulkWrite();
    EXPECT_TRUE(bulk.isActive());
    EXPECT_TRUE(f.root->isInBulkWrite());
    for (int chunk = 0; chunk < 5; ++chunk) {
      saveChunk(*f.root, chunk * 300, 300);
      f.root->reset();
      EXPECT_EQ(f.root->registeredObjectCount(), 0u) << "chunk " << chunk;
      EXPECT_EQ(reader.count("Tag"), 0u) << "other connections see no partial import";
    }
    // This context reads what its chunks wrote.
    EXPECT_EQ(f.root->countForFetchRequest(FetchRequest(&f.entity("Tag"))), 1500u);
    f.root->insertNewObject("Tag")->setValueForKey("label", "tag 1500");  // saved by commit
    BulkWrite moved = std::move(bulk);
    EXPECT_FALSE(bulk.isActive());
    moved.commit();
    EXPECT_FALSE(moved.isActive());
  }
  EXPECT_FALSE(f.root->isInBulkWrite());
  EXPECT_EQ(didSave, 6u);
  EXPECT_EQ(reader.count("Tag"), 1501u);
  f.open();
  FetchRequest request(&f.entity("Tag"));
  request.predicate = Predicate::parse("label == %@", {Value("tag 777")});
  EXPECT_EQ(f.root->executeFetchRequest(request).size(), 1u);
}

TEST(BulkWriteTest, RollbackAfterSeveralChunksRestoresFileAndContext) {
  TempDir dir;
  StoreFixture f(dir);
  auto* owner = f.root->insertNewObject("Owner");
  owner->setValueForKey("name", "before");
  f.root->save();
  const ObjectID ownerID = owner->objectID();
  std::vector<ManagedObject*> kept;
  {
    BulkWrite bulk = f.root->beginBulkWrite();
    saveChunk(*f.root, 0, 50);
    f.root->reset();
    owner = f.root->existingObjectWithID(ownerID);
    owner->setValueForKey("name", "during");
    auto* sample = f.root->insertNewObject("Sample");
    sample->setObjectForKey("owner", owner);
    f.root->save();
    kept = saveChunk(*f.root, 50, 50);
    kept[0]->setValueForKey("label", "unsaved edit");
    f.root->insertNewObject("Tag");  // never saved
  }                                  // destroyed uncommitted
  EXPECT_FALSE(f.root->isInBulkWrite());
  EXPECT_FALSE(f.root->hasChanges());
  for (auto* tag : kept) EXPECT_TRUE(tag->isDeleted());
  EXPECT_EQ(owner->valueForKey("name").asString(), "before");
  EXPECT_TRUE(owner->objectsForKey("samples").empty());
  EXPECT_EQ(f.root->countForFetchRequest(FetchRequest(&f.entity("Tag"))), 0u);
  EXPECT_EQ(f.root->countForFetchRequest(FetchRequest(&f.entity("Sample"))), 0u);

  // The context keeps working normally, and the store takes ordinary saves again.
  saveChunk(*f.root, 0, 3);
  f.open();
  EXPECT_EQ(f.root->countForFetchRequest(FetchRequest(&f.entity("Tag"))), 3u);
  auto owners = f.root->executeFetchRequest(FetchRequest(&f.entity("Owner")));
  ASSERT_EQ(owners.size(), 1u);
  EXPECT_EQ(owners[0]->valueForKey("name").asString(), "before");
}

TEST(BulkWriteTest, FailedChunkRollsEverythingBack) {
  TempDir dir;
  StoreFixture f(dir);
  Reader reader(f.path);
  BulkWrite bulk = f.root->beginBulkWrite();
  saveChunk(*f.root, 0, 100);
  saveChunk(*f.root, 100, 100);
  f.store->setSaveHook([](std::size_t step) {
    if (step == 10) throw std::runtime_error("disk full");
  });
  EXPECT_THROW(saveChunk(*f.root, 200, 100), StoreError);
  f.store->setSaveHook(nullptr);
  EXPECT_FALSE(f.root->hasChanges());
  EXPECT_EQ(f.root->registeredObjectCount(), 0u);
  // Nothing more goes in until the failed scope is closed.
  f.root->insertNewObject("Tag");
  EXPECT_THROW(f.root->save(), StoreError);
  try {
    bulk.commit();
    FAIL() << "commit of a failed bulk write";
  } catch (const StoreError& e) {
    EXPECT_EQ(e.code(), StoreErrorCode::SaveFailed);
  }
  EXPECT_FALSE(bulk.isActive());
  EXPECT_EQ(reader.count("Tag"), 0u);
  f.root->save();  // the pending Tag, as an ordinary save
  EXPECT_EQ(reader.count("Tag"), 1u);
}

TEST(BulkWriteTest, OtherWritersWaitTheirTurnAndMisuseIsRejected) {
  TempDir dir;
  StoreFixture f(dir);
  auto child = ManagedObjectContext::createChild(f.root, ConcurrencyType::MainQueue, "child");
  EXPECT_THROW((void)child->beginBulkWrite(), std::logic_error);
  f.root->insertNewObject("Tag");
  EXPECT_THROW((void)f.root->beginBulkWrite(), std::logic_error);
  f.root->save();

  auto other = ManagedObjectContext::createRoot(f.store, ConcurrencyType::MainQueue, "other");
  Reader reader(f.path);
  BulkWrite bulk = f.root->beginBulkWrite();
  EXPECT_THROW((void)f.root->beginBulkWrite(), std::logic_error);
  EXPECT_THROW((void)other->beginBulkWrite(), StoreError);
  other->insertNewObject("Owner")->setValueForKey("name", "waiting");
  EXPECT_THROW(other->save(), StoreError);
  EXPECT_TRUE(other->hasChanges());
  saveChunk(*f.root, 0, 10);
  bulk.commit();
  other->save();
  EXPECT_EQ(reader.count("Tag"), 11u);
  EXPECT_EQ(reader.count("Owner"), 1u);
}

TEST(BulkWriteTest, MergingChildrenHearOfTheImportOnlyAtCommit) {
  TempDir dir;
  StoreFixture f(dir);
  auto* owner = f.root->insertNewObject("Owner");
  owner->setValueForKey("name", "old");
  f.root->save();
  auto child = ManagedObjectContext::createChild(f.root, ConcurrencyType::MainQueue, "ui");
  child->setAutomaticallyMergesChangesFromParent(true);
  auto* seen = child->existingObjectWithID(owner->objectID());
  EXPECT_EQ(seen->valueForKey("name").asString(), "old");
  std::size_t inserted = 0, updated = 0;
  auto token =
      child->addObserver(ContextNotification::ObjectsDidChange, [&](const ContextChanges& c) {
        inserted += c.inserted.size();
        updated += c.updated.size();
      });
  BulkWrite bulk = f.root->beginBulkWrite();
  owner->setValueForKey("name", "new");
  saveChunk(*f.root, 0, 20);
  MainQueue::shared().runUntilIdle();
  EXPECT_EQ(inserted, 0u);
  EXPECT_EQ(seen->valueForKey("name").asString(), "old");
  bulk.commit();
  MainQueue::shared().runUntilIdle();
  EXPECT_EQ(inserted, 20u);
  EXPECT_EQ(updated, 1u);
  EXPECT_EQ(seen->valueForKey("name").asString(), "new");
}

TEST(BulkWriteConcurrencyTest, ReadersOnOtherConnectionsSeeAllOrNothing) {
  TempDir dir;
  StoreFixture f(dir);
  auto store = PersistentStore::open(testModel(), StoreType::SQLite, f.path);
  auto reader = ManagedObjectContext::createRoot(store, ConcurrencyType::PrivateQueue, "reader");
  const FetchRequest tags(store->model().entityNamed("Tag"));
  std::atomic<bool> committed{false};
  std::vector<std::size_t> seen;
  std::thread watcher([&] {
    while (true) {
      bool last = committed.load();
      std::size_t n = 0;
      reader->performAndWait([&] { n = reader->countForFetchRequest(tags); });
      seen.push_back(n);
      if (last) return;
    }
  });
  {
    BulkWrite bulk = f.root->beginBulkWrite();
    for (int chunk = 0; chunk < 20; ++chunk) {
      saveChunk(*f.root, chunk * 100, 100);
      f.root->reset();
    }
    bulk.commit();
  }
  committed = true;
  watcher.join();
  ASSERT_FALSE(seen.empty());
  for (std::size_t n : seen) EXPECT_TRUE(n == 0 || n == 2000) << n;
  EXPECT_EQ(seen.back(), 2000u);
}

}  // namespace
}  // namespace dm::test
