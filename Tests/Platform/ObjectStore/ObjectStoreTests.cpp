// Persistence, identity, saving and relationship rules of the object store.
#include <set>

#include <gtest/gtest.h>

#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Platform/ObjectStore/PersistentStore.h"
#include "StoreTestSupport.h"

namespace dm::test {
namespace {

FetchRequest all(const EntityDescription& entity, const char* sortKey = nullptr) {
  FetchRequest request(&entity);
  if (sortKey) request.sortDescriptors.push_back({sortKey, true});
  return request;
}

TEST(ObjectStoreTest, EveryAttributeTypeAndRelationshipSurvivesReopen) {
  TempDir dir;
  StoreFixture f(dir);
  {
    auto* owner = f.root->insertNewObject("Owner");
    owner->setValueForKey("name", "Ann");
    auto* sample = f.root->insertNewObject("Sample");
    sample->setValueForKey("entityID", Value(std::int64_t{9007199254740993}));
    sample->setValueForKey("small", -32768);
    sample->setValueForKey("medium", 2147483647);
    sample->setValueForKey("ratio", 0.1);
    sample->setValueForKey("weight", 2.5);
    sample->setValueForKey("enabled", true);
    sample->setValueForKey("createdAt", Date(1700000000.25));
    sample->setValueForKey("payload", Blob{0, 1, 255});
    sample->setValueForKey("title", std::string("caf\xc3\xa9\0x", 7));
    sample->setObjectForKey("owner", owner);
    auto* tag = f.root->insertNewObject("Tag");
    tag->setValueForKey("label", "legs");
    sample->addObjectForKey("tags", tag);
    EXPECT_EQ(owner->objectsForKey("samples").size(), 1u);
    EXPECT_EQ(tag->objectsForKey("samples").size(), 1u);
    EXPECT_TRUE(sample->objectID().isTemporaryID());
    f.root->save();
    EXPECT_FALSE(sample->objectID().isTemporaryID());
  }
  f.open();
  auto samples = f.root->executeFetchRequest(all(f.entity("Sample")));
  ASSERT_EQ(samples.size(), 1u);
  ManagedObject* s = samples[0];
  EXPECT_EQ(s->valueForKey("entityID").asInt64(), 9007199254740993);
  EXPECT_EQ(s->valueForKey("small").asInt64(), -32768);
  EXPECT_EQ(s->valueForKey("medium").asInt64(), 2147483647);
  EXPECT_DOUBLE_EQ(s->valueForKey("ratio").asDouble(), 0.1);
  EXPECT_DOUBLE_EQ(s->valueForKey("weight").asDouble(), 2.5);
  EXPECT_TRUE(s->valueForKey("enabled").isBool());
  EXPECT_TRUE(s->valueForKey("enabled").asBool());
  EXPECT_EQ(s->valueForKey("createdAt").asDate(), Date(1700000000.25));
  EXPECT_EQ(s->valueForKey("payload").asBlob(), (Blob{0, 1, 255}));
  EXPECT_EQ(s->valueForKey("title").asString(), std::string("caf\xc3\xa9\0x", 7));
  EXPECT_EQ(s->valueForKey("code").asString(), "none");  // model default
  EXPECT_EQ(s->valueForKeyPath("owner.name").asString(), "Ann");
  auto tags = s->objectsForKey("tags");
  ASSERT_EQ(tags.size(), 1u);
  EXPECT_EQ(tags[0]->valueForKey("label").asString(), "legs");
  EXPECT_EQ(tags[0]->objectsForKey("samples").at(0), s);
  EXPECT_EQ(s->objectForKey("owner")->objectsForKey("samples").at(0), s);
}

TEST(ObjectStoreTest, FailedSaveLeavesFileUnchangedAndChangesPending) {
  TempDir dir;
  StoreFixture f(dir);
  auto* kept = f.root->insertNewObject("Owner");
  kept->setValueForKey("name", "before");
  f.root->save();

  kept->setValueForKey("name", "after");
  for (int i = 0; i < 5; ++i) f.root->insertNewObject("Tag")->setValueForKey("label", i);
  std::size_t calls = 0;
  f.store->setSaveHook([&](std::size_t step) {
    ++calls;
    if (step == 3) throw std::runtime_error("disk unplugged");
  });
  try {
    f.root->save();
    FAIL() << "save should fail";
  } catch (const StoreError& e) {
    EXPECT_EQ(e.code(), StoreErrorCode::SaveFailed);
    EXPECT_NE(std::string(e.what()).find("disk unplugged"), std::string::npos);
  }
  EXPECT_EQ(calls, 4u);
  EXPECT_TRUE(f.root->hasChanges());
  EXPECT_EQ(f.root->insertedObjects().size(), 5u);

  {  // Another connection sees the file as it was.
    auto other = PersistentStore::open(testModel(), StoreType::SQLite, f.path);
    auto ctx = ManagedObjectContext::createRoot(other, ConcurrencyType::MainQueue);
    EXPECT_EQ(ctx->countForFetchRequest(all(f.entity("Tag"))), 0u);
    auto owners = ctx->executeFetchRequest(all(f.entity("Owner")));
    ASSERT_EQ(owners.size(), 1u);
    EXPECT_EQ(owners[0]->valueForKey("name").asString(), "before");
  }
  f.store->setSaveHook(nullptr);
  f.root->save();
  EXPECT_FALSE(f.root->hasChanges());
  f.open();
  EXPECT_EQ(f.root->countForFetchRequest(all(f.entity("Tag"))), 5u);
}

// A save writes only what changed, so a value another connection stored meanwhile survives
// an update of a different value of the same row.
TEST(ObjectStoreTest, UpdateWritesOnlyTheChangedColumns) {
  TempDir dir;
  StoreFixture f(dir);
  auto* sample = f.root->insertNewObject("Sample");
  sample->setValueForKey("code", "a");
  sample->setValueForKey("ratio", 1.5);
  auto* owner = f.root->insertNewObject("Owner");
  auto* tag = f.root->insertNewObject("Tag");
  f.root->save();

  auto other = PersistentStore::open(testModel(), StoreType::SQLite, f.path);
  auto otherContext = ManagedObjectContext::createRoot(other, ConcurrencyType::MainQueue);
  auto elsewhere = [&](const char* key, Value value) {
    otherContext->reset();
    auto found = otherContext->executeFetchRequest(all(f.entity("Sample")));
    ASSERT_EQ(found.size(), 1u);
    found[0]->setValueForKey(key, std::move(value));
    otherContext->save();
  };
  std::vector<ContextChanges> saved;
  auto token = f.root->addObserver(ContextNotification::DidSave,
                                   [&](const ContextChanges& c) { saved.push_back(c); });

  elsewhere("ratio", 2.5);
  sample->setValueForKey("code", "b");
  sample->setValueForKey("ratio", 1.5);  // set back to what this context read: no change
  f.root->save();
  ASSERT_EQ(saved.size(), 1u);
  EXPECT_EQ(saved[0].updated, std::vector<ManagedObject*>{sample});

  elsewhere("code", "c");
  sample->setObjectForKey("owner", owner);  // a to-one key is a column of its own
  f.root->save();
  elsewhere("ratio", 3.5);
  sample->addObjectForKey("tags", tag);  // to-many members live outside the row
  f.root->save();
  ASSERT_EQ(saved.size(), 3u);
  EXPECT_NE(std::find(saved[2].updated.begin(), saved[2].updated.end(), sample),
            saved[2].updated.end());

  f.open();
  auto stored = f.root->executeFetchRequest(all(f.entity("Sample")));
  ASSERT_EQ(stored.size(), 1u);
  EXPECT_EQ(stored[0]->valueForKey("code").asString(), "c");
  EXPECT_DOUBLE_EQ(stored[0]->valueForKey("ratio").asDouble(), 3.5);
  ASSERT_NE(stored[0]->objectForKey("owner"), nullptr);
  EXPECT_EQ(stored[0]->objectsForKey("tags").size(), 1u);
}

TEST(ObjectStoreTest, RequiredAttributeIsCheckedBeforeWriting) {
  TempDir dir;
  StoreFixture f(dir);
  auto* s = f.root->insertNewObject("Sample");
  s->setValueForKey("code", Value());
  try {
    f.root->save();
    FAIL();
  } catch (const StoreError& e) {
    EXPECT_EQ(e.code(), StoreErrorCode::ValidationFailed);
  }
  s->setValueForKey("code", "x");
  f.root->save();
}

TEST(ObjectStoreTest, OneObjectPerRowPerContext) {
  TempDir dir;
  StoreFixture f(dir);
  auto* owner = f.root->insertNewObject("Owner");
  auto* sample = f.root->insertNewObject("Sample");
  sample->setObjectForKey("owner", owner);
  f.root->save();
  ObjectID id = owner->objectID();
  f.open();
  auto first = f.root->executeFetchRequest(all(f.entity("Owner")));
  auto viaBase = f.root->executeFetchRequest(all(f.entity("Record")));
  ASSERT_EQ(first.size(), 1u);
  EXPECT_EQ(viaBase.size(), 2u);  // a base entity fetch returns every kind
  EXPECT_EQ(f.root->existingObjectWithID(id), first[0]);
  auto samples = f.root->executeFetchRequest(all(f.entity("Sample")));
  EXPECT_EQ(samples[0]->objectForKey("owner"), first[0]);
  EXPECT_NE(std::find(viaBase.begin(), viaBase.end(), first[0]), viaBase.end());
  EXPECT_EQ(f.root->existingObjectWithID(ObjectID{&f.entity("Owner"), 999, false}), nullptr);
}

TEST(ObjectStoreTest, FetchSeesUnsavedInsertsAndHidesUnsavedDeletes) {
  TempDir dir;
  StoreFixture f(dir);
  for (const char* name : {"b", "d", "f"})
    f.root->insertNewObject("Owner")->setValueForKey("name", name);
  f.root->save();
  auto saved = f.root->executeFetchRequest(all(f.entity("Owner"), "name"));
  f.root->deleteObject(saved[1]);         // "d"
  saved[2]->setValueForKey("name", "a");  // "f" -> "a": moves to the front
  f.root->insertNewObject("Owner")->setValueForKey("name", "c");

  auto request = all(f.entity("Owner"), "name");
  std::vector<std::string> names;
  for (auto* o : f.root->executeFetchRequest(request))
    names.push_back(o->valueForKey("name").asString());
  EXPECT_EQ(names, (std::vector<std::string>{"a", "b", "c"}));

  request.predicate = Predicate::parse("name != %@", {Value("b")});
  EXPECT_EQ(f.root->countForFetchRequest(request), 2u);
  request.fetchLimit = 1;
  request.fetchOffset = 1;
  auto window = f.root->executeFetchRequest(request);
  ASSERT_EQ(window.size(), 1u);
  EXPECT_EQ(window[0]->valueForKey("name").asString(), "c");

  FetchRequest bad(&f.entity("Owner"));
  bad.predicate = Predicate::parse("nosuchkey = 1");
  EXPECT_THROW(f.root->executeFetchRequest(bad), PredicateError);
}

TEST(ObjectStoreTest, CascadeAndNullifyRules) {
  TempDir dir;
  StoreFixture f(dir);
  auto* owner = f.root->insertNewObject("Owner");
  auto* profile = f.root->insertNewObject("Profile");
  owner->setObjectForKey("profile", profile);
  EXPECT_EQ(profile->objectForKey("owner"), owner);
  auto* s1 = f.root->insertNewObject("Sample");
  auto* s2 = f.root->insertNewObject("Sample");
  auto* tag = f.root->insertNewObject("Tag");
  s1->setObjectForKey("owner", owner);
  s2->setObjectForKey("owner", owner);
  s1->addObjectForKey("tags", tag);
  f.root->save();
  f.open();

  auto owners = f.root->executeFetchRequest(all(f.entity("Owner")));
  f.root->deleteObject(owners[0]);  // cascades to samples and the profile
  EXPECT_EQ(f.root->deletedObjects().size(), 4u);
  f.root->save();
  EXPECT_EQ(f.root->countForFetchRequest(all(f.entity("Record"))), 0u);
  auto tags = f.root->executeFetchRequest(all(f.entity("Tag")));
  ASSERT_EQ(tags.size(), 1u);  // nullify: the tag stays, without the sample
  EXPECT_TRUE(tags[0]->objectsForKey("samples").empty());
  f.open();
  tags = f.root->executeFetchRequest(all(f.entity("Tag")));
  EXPECT_TRUE(tags[0]->objectsForKey("samples").empty());
}

TEST(ObjectStoreTest, ReassigningToOneMovesBetweenInverseSets) {
  TempDir dir;
  StoreFixture f(dir);
  auto* a = f.root->insertNewObject("Owner");
  auto* b = f.root->insertNewObject("Owner");
  auto* s = f.root->insertNewObject("Sample");
  a->addObjectForKey("samples", s);
  b->addObjectForKey("samples", s);
  EXPECT_TRUE(a->objectsForKey("samples").empty());
  EXPECT_EQ(s->objectForKey("owner"), b);
  auto* p1 = f.root->insertNewObject("Profile");
  auto* p2 = f.root->insertNewObject("Profile");
  a->setObjectForKey("profile", p1);
  p2->setObjectForKey("owner", a);  // one-to-one: p1 loses its owner
  EXPECT_EQ(p1->objectForKey("owner"), nullptr);
  EXPECT_EQ(a->objectForKey("profile"), p2);
  EXPECT_THROW(s->setObjectForKey("owner", p1), std::invalid_argument);
  EXPECT_THROW(s->setValueForKey("nosuch", 1), std::invalid_argument);
}

TEST(ObjectStoreTest, LongToManySetsKeepOrderThroughAddsRemovesAndReopen) {
  // Long enough for the indexed membership path; checks order, duplicates and inverses.
  TempDir dir;
  StoreFixture f(dir);
  auto* owner = f.root->insertNewObject("Owner");
  auto* tag = f.root->insertNewObject("Tag");
  std::vector<ManagedObject*> samples;
  for (int i = 0; i < 200; ++i) {
    samples.push_back(f.root->insertNewObject("Sample"));
    samples.back()->setValueForKey("small", i);
    owner->addObjectForKey("samples", samples.back());
    tag->addObjectForKey("samples", samples.back());
  }
  owner->addObjectForKey("samples", samples[5]);  // already a member: no duplicate
  samples[100]->setObjectForKey("owner", nullptr);
  owner->removeObjectForKey("samples", samples[7]);
  tag->removeObjectForKey("samples", samples[0]);
  owner->addObjectForKey("samples", samples[7]);  // re-added: goes to the end
  auto members = owner->objectsForKey("samples");
  ASSERT_EQ(members.size(), 199u);
  EXPECT_EQ(members[5], samples[5]);
  EXPECT_EQ(members[7], samples[8]);
  EXPECT_EQ(members.back(), samples[7]);
  EXPECT_EQ(samples[100]->objectForKey("owner"), nullptr);
  EXPECT_EQ(tag->objectsForKey("samples").size(), 199u);
  EXPECT_TRUE(samples[0]->objectsForKey("tags").empty());
  for (int i = 0; i < 150; ++i) tag->removeObjectForKey("samples", samples[i]);
  EXPECT_EQ(tag->objectsForKey("samples").front(), samples[150]);
  f.root->save();

  f.open();
  auto owners = f.root->executeFetchRequest(all(f.entity("Owner")));
  ASSERT_EQ(owners.size(), 1u);
  members = owners[0]->objectsForKey("samples");  // stored order is row order
  ASSERT_EQ(members.size(), 199u);
  EXPECT_EQ(members[0]->valueForKey("small").asInt64(), 0);
  EXPECT_EQ(members[7]->valueForKey("small").asInt64(), 7);
  auto tags = f.root->executeFetchRequest(all(f.entity("Tag")));
  ASSERT_EQ(tags.size(), 1u);
  EXPECT_EQ(tags[0]->objectsForKey("samples").size(), 50u);
}

TEST(ObjectStoreTest, ToManyWithoutInverseStoresManyPairsExactly) {
  // Only the owning side writes these pairs, and enough of them that they go in multi-row
  // statements with a remainder: every member must come back, and nothing else.
  TempDir dir;
  auto model = ManagedObjectModel::fromJson(R"({"name": "Links", "entities": [
      {"name": "Batch", "relationships": [{"name": "items", "destination": "Item", "toMany": true}]},
      {"name": "Item", "attributes": [{"name": "n", "type": "integer64"}]}]})");
  const auto file = (dir.path() / "links.sqlite").string();
  auto open = [&] {
    return ManagedObjectContext::createRoot(PersistentStore::open(model, StoreType::SQLite, file),
                                            ConcurrencyType::MainQueue, "links");
  };
  std::vector<ManagedObject*> items;
  {
    auto root = open();
    auto* batch = root->insertNewObject("Batch");
    for (int i = 0; i < 150; ++i) {
      items.push_back(root->insertNewObject("Item"));
      items.back()->setValueForKey("n", i);
      if (i < 130) batch->addObjectForKey("items", items.back());
    }
    root->insertNewObject("Batch")->addObjectForKey("items", items[140]);
    root->save();
    for (int i = 0; i < 10; ++i) batch->removeObjectForKey("items", items[i]);
    for (int i = 130; i < 140; ++i) batch->addObjectForKey("items", items[i]);
    root->save();
  }
  auto root = open();
  FetchRequest request(root->model().entityNamed("Batch"));
  std::set<std::int64_t> members;
  std::size_t pairs = 0;
  for (auto* batch : root->executeFetchRequest(request)) {
    for (auto* item : batch->objectsForKey("items")) {
      members.insert(item->valueForKey("n").asInt64());
      ++pairs;
    }
  }
  EXPECT_EQ(pairs, 131u);  // 10..139 in the first batch, 140 in the second
  ASSERT_EQ(members.size(), 131u);
  EXPECT_EQ(*members.begin(), 10);
  EXPECT_EQ(*members.rbegin(), 140);
}

TEST(ObjectStoreTest, ChildPushesRowsTheParentNeverLoaded) {
  TempDir dir;
  StoreFixture f(dir);
  for (const char* name : {"a", "b", "c"})
    f.root->insertNewObject("Owner")->setValueForKey("name", name);
  f.root->save();
  f.root->reset();  // the parent holds none of the rows now
  auto child = ManagedObjectContext::createChild(f.root, ConcurrencyType::MainQueue, "child");
  auto owners = child->executeFetchRequest(all(f.entity("Owner"), "name"));
  ASSERT_EQ(owners.size(), 3u);
  owners[0]->setValueForKey("name", "A");
  owners[1]->setValueForKey("title", "second");
  child->deleteObject(owners[2]);
  child->save();

  ASSERT_EQ(f.root->updatedObjects().size(), 2u);
  ASSERT_EQ(f.root->deletedObjects().size(), 1u);
  auto* first = f.root->objectRegisteredForID(owners[0]->objectID());
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first->changedKeys(), std::vector<std::string>({"name", "samples", "profile"}));
  EXPECT_EQ(first->valueForKey("name").asString(), "A");
  f.root->save();
  f.open();
  owners = f.root->executeFetchRequest(all(f.entity("Owner"), "name"));
  ASSERT_EQ(owners.size(), 2u);
  EXPECT_EQ(owners[0]->valueForKey("name").asString(), "A");
  EXPECT_EQ(owners[1]->valueForKey("title").asString(), "second");
}

TEST(ObjectStoreTest, FaultsLoadOnAccessAndRefreshDropsChanges) {
  TempDir dir;
  StoreFixture f(dir);
  f.root->insertNewObject("Owner")->setValueForKey("name", "x");
  f.root->save();
  f.open();
  FetchRequest request(&f.entity("Owner"));
  request.returnsObjectsAsFaults = true;
  auto owners = f.root->executeFetchRequest(request);
  ASSERT_EQ(owners.size(), 1u);
  EXPECT_TRUE(owners[0]->isFault());
  EXPECT_EQ(owners[0]->valueForKey("name").asString(), "x");
  EXPECT_FALSE(owners[0]->isFault());
  owners[0]->setValueForKey("name", "y");
  EXPECT_TRUE(owners[0]->isUpdated());
  EXPECT_EQ(owners[0]->changedKeys(), std::vector<std::string>{"name"});
  f.root->refreshObject(owners[0], false);
  EXPECT_TRUE(owners[0]->isFault());
  EXPECT_FALSE(f.root->hasChanges());
  EXPECT_EQ(owners[0]->valueForKey("name").asString(), "x");

  // objectWithID hands out the registered object, or a fault that reads its row only when
  // touched; a fault whose row is gone reads as empty.
  const ObjectID stored = owners[0]->objectID();
  EXPECT_EQ(f.root->objectWithID(stored), owners[0]);
  f.root->reset();
  ManagedObject* fault = f.root->objectWithID(stored);
  ASSERT_TRUE(fault);
  EXPECT_TRUE(fault->isFault());
  EXPECT_EQ(fault->valueForKey("name").asString(), "x");
  ManagedObject* missing = f.root->objectWithID(ObjectID{stored.entity, stored.key + 100, false});
  ASSERT_TRUE(missing);
  EXPECT_TRUE(missing->valueForKey("name").isNull());
  EXPECT_EQ(f.root->objectWithID(ObjectID{&f.entity("Record"), stored.key + 50, false}), nullptr);
  ManagedObject* inserted = f.root->insertNewObject("Owner");
  EXPECT_EQ(f.root->objectWithID(inserted->objectID()), inserted);
}

TEST(ObjectStoreTest, ModelChangesMigrateOrFailClearly) {
  TempDir dir;
  const std::string path = (dir / "m.sqlite").string();
  auto v1 = ManagedObjectModel::fromJson(R"({"name":"M","entities":[
      {"name":"Item","attributes":[{"name":"title","type":"string"}]}]})");
  {
    auto store = PersistentStore::open(v1, StoreType::SQLite, path);
    auto ctx = ManagedObjectContext::createRoot(store, ConcurrencyType::MainQueue);
    ctx->insertNewObject("Item")->setValueForKey("title", "kept");
    ctx->save();
  }
  auto v2 = ManagedObjectModel::fromJson(R"({"name":"M","entities":[
      {"name":"Item","attributes":[{"name":"title","type":"string"},
        {"name":"count","type":"integer32","default":3,"indexed":true}]},
      {"name":"Extra","attributes":[{"name":"x","type":"double"}]}]})");
  {
    auto store = PersistentStore::open(v2, StoreType::SQLite, path);
    EXPECT_EQ(store->storedModelHash(), v2->hash());
    auto ctx = ManagedObjectContext::createRoot(store, ConcurrencyType::MainQueue);
    auto items = ctx->executeFetchRequest(FetchRequest(store->model().entityNamed("Item")));
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(items[0]->valueForKey("title").asString(), "kept");
    EXPECT_TRUE(items[0]->valueForKey("count").isNull());  // existing rows have no value
    ctx->insertNewObject("Extra");
    ctx->save();
  }
  auto typeChanged = ManagedObjectModel::fromJson(R"({"name":"M","entities":[
      {"name":"Item","attributes":[{"name":"title","type":"integer64"}]},
      {"name":"Extra","attributes":[{"name":"x","type":"double"}]}]})");
  try {
    PersistentStore::open(typeChanged, StoreType::SQLite, path);
    FAIL();
  } catch (const StoreError& e) {
    EXPECT_EQ(e.code(), StoreErrorCode::IncompatibleModel);
  }
  auto extraRemoved = ManagedObjectModel::fromJson(R"({"name":"M","entities":[
      {"name":"Item","attributes":[{"name":"title","type":"string"}]}]})");
  EXPECT_THROW(PersistentStore::open(extraRemoved, StoreType::SQLite, path), StoreError);
  // The failed attempts left the v2 file usable.
  auto store = PersistentStore::open(v2, StoreType::SQLite, path);
  auto ctx = ManagedObjectContext::createRoot(store, ConcurrencyType::MainQueue);
  EXPECT_EQ(ctx->countForFetchRequest(FetchRequest(store->model().entityNamed("Extra"))), 1u);
}

TEST(ObjectStoreTest, NonDatabaseFileCannotBeOpened) {
  TempDir dir;
  writeFile(dir / "bad.sqlite", std::string(4096, 'x'));
  try {
    PersistentStore::open(testModel(), StoreType::SQLite, (dir / "bad.sqlite").string());
    FAIL();
  } catch (const StoreError& e) {
    EXPECT_EQ(e.code(), StoreErrorCode::CannotOpen);
  }
  auto memory = PersistentStore::open(testModel(), StoreType::InMemory);
  auto ctx = ManagedObjectContext::createRoot(memory, ConcurrencyType::MainQueue);
  ctx->insertNewObject("Tag");
  ctx->save();
  EXPECT_EQ(ctx->countForFetchRequest(FetchRequest(memory->model().entityNamed("Tag"))), 1u);
}

TEST(ObjectStoreTest, InvalidModelsAreRejectedWithTheReason) {
  auto reason = [](const char* text) {
    try {
      ManagedObjectModel::fromJson(text);
    } catch (const StoreError& e) {
      EXPECT_EQ(e.code(), StoreErrorCode::InvalidModel);
      return std::string(e.what());
    }
    return std::string("accepted");
  };
  EXPECT_NE(reason("{").find("malformed"), std::string::npos);
  EXPECT_NE(reason(R"({"name":"M","entities":[{"name":"A","parent":"B"}]})").find("unknown parent"),
            std::string::npos);
  EXPECT_NE(
      reason(R"({"name":"M","entities":[{"name":"A","attributes":[{"name":"x","type":"int"}]}]})")
          .find("unknown type"),
      std::string::npos);
  EXPECT_NE(reason(R"({"name":"M","entities":[{"name":"A","relationships":[
      {"name":"b","destination":"A","inverse":"nope"}]}]})")
                .find("unknown inverse"),
            std::string::npos);
}

}  // namespace
}  // namespace dm::test
