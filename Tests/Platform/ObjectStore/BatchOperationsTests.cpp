// Lookup-many, delete-all-except and the record-store helpers.
#include <gtest/gtest.h>

#include "Platform/Foundation/Error.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Platform/ObjectStore/ObjectStoreHelpers.h"
#include "Platform/ObjectStore/PersistentStore.h"
#include "StoreTestSupport.h"

namespace dm::test {
namespace {

// Samples with entityID 1..n, each tagged with one shared tag; one owner with entityID 1.
void fill(StoreFixture& f, int n) {
  auto* tag = f.root->insertNewObject("Tag");
  tag->setValueForKey("label", "all");
  for (int i = 1; i <= n; ++i) {
    auto* s = f.root->insertNewObject("Sample");
    s->setValueForKey("entityID", i);
    s->addObjectForKey("tags", tag);
  }
  f.root->insertNewObject("Owner")->setValueForKey("entityID", 1);
  f.root->save();
}

TEST(BatchOperationsTest, LookupManyMergesFileAndUnsavedState) {
  TempDir dir;
  StoreFixture f(dir);
  fill(f, 3000);
  const auto& sample = f.entity("Sample");
  auto stored = f.root->objectsByAttribute(sample, "entityID", {Value(5), Value(7)});
  ASSERT_EQ(stored.size(), 2u);
  stored.at(Value(5))->setValueForKey("entityID", 50000);  // unsaved: 5 no longer exists
  f.root->deleteObject(stored.at(Value(7)));
  f.root->insertNewObject("Sample")->setValueForKey("entityID", 60000);

  auto child = ManagedObjectContext::createChild(f.root, ConcurrencyType::MainQueue);
  std::vector<Value> keys;
  for (int i = 1; i <= 3000; ++i) keys.emplace_back(i);
  keys.emplace_back(50000);
  keys.emplace_back(60000.0);  // a double key finds an integer value
  keys.emplace_back(99999);
  for (auto& ctx : {f.root, child}) {
    auto found = ctx->objectsByAttribute(sample, "entityID", keys);
    EXPECT_EQ(found.size(), 3000u);  // 3000 - {5, 7} + {50000, 60000}
    EXPECT_FALSE(found.count(Value(5)));
    EXPECT_FALSE(found.count(Value(7)));
    EXPECT_FALSE(found.count(Value(99999)));
    ASSERT_TRUE(found.count(Value(60000)));
    EXPECT_EQ(found.at(Value(60000))->managedObjectContext(), ctx.get());
    EXPECT_EQ(found.at(Value(50000))->valueForKey("entityID").asInt64(), 50000);
    EXPECT_EQ(found.at(Value(2999))->valueForKey("entityID").asInt64(), 2999);
  }
  // Through the base entity: samples and the owner both have entityID 1.
  auto viaBase = f.root->objectsByAttribute(f.entity("Record"), "entityID", {Value(1)});
  EXPECT_EQ(viaBase.size(), 1u);
  EXPECT_THROW(f.root->objectsByAttribute(sample, "nosuch", keys), std::invalid_argument);
}

TEST(BatchOperationsTest, LookupManyOfCloseIntegerKeysFindsOnlyTheKeysAskedFor) {
  // Close integer keys are read as one range of the index: the rows between them that were
  // not asked for, and rows whose unsaved state moved them away, stay out of the answer.
  TempDir dir;
  StoreFixture f(dir);
  fill(f, 100);
  const auto& sample = f.entity("Sample");
  f.root->objectsByAttribute(sample, "entityID", {Value(20)})
      .at(Value(20))
      ->setValueForKey("entityID", 500);
  std::vector<Value> keys;
  for (int i = 10; i <= 50; ++i)
    if (i % 9 != 0) keys.emplace_back(i);  // not 18, 27, 36 or 45
  auto found = f.root->objectsByAttribute(sample, "entityID", keys);
  EXPECT_EQ(found.size(), keys.size() - 1);
  for (int absent : {18, 20, 27, 36, 45}) EXPECT_FALSE(found.count(Value(absent))) << absent;
  for (const auto& [key, object] : found) EXPECT_EQ(object->valueForKey("entityID"), key);
}

TEST(BatchOperationsTest, DeleteAllExceptTouchesOnlyTheEntityAndUpdatesContexts) {
  TempDir dir;
  StoreFixture f(dir);
  fill(f, 2000);
  auto reader = ManagedObjectContext::createChild(f.root, ConcurrencyType::MainQueue, "reader");
  const auto& sample = f.entity("Sample");
  auto held = reader->objectsByAttribute(sample, "entityID", {Value(1), Value(2)});
  std::vector<ContextChanges> seen;
  auto token = reader->addObserver(ContextNotification::ObjectsDidChange,
                                   [&](const ContextChanges& c) { seen.push_back(c); });

  std::vector<Value> kept;
  for (int i = 2; i <= 2000; i += 2) kept.emplace_back(i);
  EXPECT_EQ(f.root->batchDeleteExcept(sample, "entityID", kept), 1000u);
  MainQueue::shared().runUntilIdle();
  EXPECT_TRUE(held.at(Value(1))->isDeleted());
  EXPECT_FALSE(held.at(Value(2))->isDeleted());
  ASSERT_EQ(seen.size(), 1u);
  EXPECT_EQ(seen[0].deleted, std::vector<ManagedObject*>{held.at(Value(1))});

  f.open();
  EXPECT_EQ(ObjectStoreHelpers::count(*f.root, "Sample"), 1000u);
  EXPECT_EQ(ObjectStoreHelpers::count(*f.root, "Owner"), 1u);  // same table, other entity
  auto* tag = ObjectStoreHelpers::findFirst(*f.root, "Tag");
  ASSERT_NE(tag, nullptr);
  EXPECT_EQ(tag->objectsForKey("samples").size(), 1000u);  // join rows went too
  EXPECT_EQ(f.root->batchDeleteExcept(sample, "entityID", {}), 1000u);
  EXPECT_EQ(ObjectStoreHelpers::count(*f.root, "Sample"), 0u);
}

TEST(BatchOperationsTest, ObjectStoreHelpersFindCountDeleteAndSaveThroughTheChain) {
  TempDir dir;
  StoreFixture f(dir);
  ObjectStoreHelpers::setRootSavingContext(f.root);
  EXPECT_EQ(ObjectStoreHelpers::rootSavingContext(), f.root);
  ObjectStoreHelpers::setRootSavingContext(nullptr);
  EXPECT_EQ(ObjectStoreHelpers::rootSavingContext(), nullptr);

  auto main = ManagedObjectContext::createChild(f.root, ConcurrencyType::MainQueue, "main");
  auto worker = ManagedObjectContext::createChild(main, ConcurrencyType::PrivateQueue, "worker");
  worker->performAndWait([&] {
    for (const char* name : {"b", "a", "c"}) {
      auto* owner = worker->insertNewObject("Owner");
      owner->setValueForKey("name", name);
      auto* s = worker->insertNewObject("Sample");
      s->setObjectForKey("owner", owner);
    }
  });
  // From the main thread: the worker's queue, then main and root inline.
  ObjectStoreHelpers::saveToPersistentStoreAndWait(*worker);
  f.open();
  auto* first = ObjectStoreHelpers::findFirst(*f.root, "Owner", std::nullopt, "name", false);
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first->valueForKey("name").asString(), "c");
  auto all = ObjectStoreHelpers::findAllSorted(*f.root, "Owner", "name");
  ASSERT_EQ(all.size(), 3u);
  EXPECT_EQ(all[0]->valueForKey("name").asString(), "a");
  EXPECT_EQ(ObjectStoreHelpers::findFirst(*f.root, "Owner", Predicate::parse("name = 'x'")),
            nullptr);
  // Delete rules apply: each owner cascades to its sample.
  EXPECT_EQ(ObjectStoreHelpers::deleteAllMatching(*f.root, "Owner", Predicate::parse("name < 'c'")),
            2u);
  EXPECT_EQ(ObjectStoreHelpers::count(*f.root, "Sample"), 1u);
  ObjectStoreHelpers::saveToPersistentStoreAndWait(*f.root);
  f.open();
  EXPECT_EQ(ObjectStoreHelpers::count(*f.root, "Record"), 2u);
  EXPECT_THROW(ObjectStoreHelpers::count(*f.root, "Nope"), Error);
}

}  // namespace
}  // namespace dm::test
