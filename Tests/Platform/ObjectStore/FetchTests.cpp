// Fetch requests against the file and the unsaved state of a context chain.
#include <gtest/gtest.h>

#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Platform/ObjectStore/PersistentStore.h"
#include "StoreTestSupport.h"

namespace dm::test {
namespace {

std::vector<std::int64_t> ids(const std::vector<ManagedObject*>& objects) {
  std::vector<std::int64_t> out;
  for (auto* o : objects) out.push_back(o->valueForKey("entityID").asInt64());
  return out;
}

// Samples 1..4; owners Ann (1), Bob (2), Cid (3); sample 4 has no owner.
void fillOwnersAndSamples(StoreFixture& f) {
  const char* names[] = {"Ann", "Bob", "Cid"};
  for (int i = 0; i < 4; ++i) {
    auto* s = f.root->insertNewObject("Sample");
    s->setValueForKey("entityID", i + 1);
    if (i < 3) {
      auto* owner = f.root->insertNewObject("Owner");
      owner->setValueForKey("name", names[i]);
      s->setObjectForKey("owner", owner);
    }
  }
  f.root->save();
}

TEST(FetchTest, KeyPathsThroughToOneFilterAndSortWithAndWithoutUnsavedChanges) {
  TempDir dir;
  StoreFixture f(dir);
  fillOwnersAndSamples(f);
  FetchRequest request(&f.entity("Sample"));
  request.predicate = Predicate::parse("owner.name IN %@", {std::vector<Value>{"Ann", "Cid"}});
  request.sortDescriptors = {{"owner.name", false}};
  EXPECT_EQ(ids(f.root->executeFetchRequest(request)), (std::vector<std::int64_t>{3, 1}));

  // Rename Bob without saving: the file still says Bob, the context must not.
  FetchRequest owners(&f.entity("Owner"));
  owners.predicate = Predicate::parse("name = 'Bob'");
  auto bob = f.root->executeFetchRequest(owners);
  ASSERT_EQ(bob.size(), 1u);
  bob[0]->setValueForKey("name", "Abe");
  request.predicate = Predicate::parse("owner.name BEGINSWITH 'A'");
  request.sortDescriptors = {{"owner.name", true}};
  EXPECT_EQ(ids(f.root->executeFetchRequest(request)), (std::vector<std::int64_t>{2, 1}));
  EXPECT_EQ(f.root->countForFetchRequest(request), 2u);
  request.fetchLimit = 1;
  EXPECT_EQ(ids(f.root->executeFetchRequest(request)), (std::vector<std::int64_t>{2}));

  // Comparing a to-one relationship with a stored object.
  FetchRequest byOwner(&f.entity("Sample"));
  byOwner.predicate = Predicate::parse("owner = %@", {static_cast<const ManagedObject*>(bob[0])});
  EXPECT_EQ(ids(f.root->executeFetchRequest(byOwner)), (std::vector<std::int64_t>{2}));
  byOwner.predicate = Predicate::parse("owner = nil");
  EXPECT_EQ(ids(f.root->executeFetchRequest(byOwner)), (std::vector<std::int64_t>{4}));

  for (const char* bad : {"owner.nosuch = 1", "tags.label = 'x'", "entityID.more = 1"}) {
    FetchRequest r(&f.entity("Sample"));
    r.predicate = Predicate::parse(bad);
    EXPECT_THROW(f.root->executeFetchRequest(r), PredicateError) << bad;
  }
}

// SQLite refuses conditions nested a few dozen levels deep; such filters run in memory and
// give what the same filter written shallowly gives.
TEST(FetchTest, FiltersNestedTooDeeplyForSqlRunInMemory) {
  TempDir dir;
  StoreFixture f(dir);
  fillOwnersAndSamples(f);
  // entityID > 1 under n negations, and under n alternating AND/OR groups that keep it.
  auto negated = [](int n) { return std::string(n, '!') + "(entityID > 1)"; };
  auto grouped = [](int n) {
    std::string text = "entityID > 1";
    for (int i = 0; i < n; ++i)
      text = i % 2 ? "(entityID > 0 AND " + text + ")" : "(entityID > 99 OR " + text + ")";
    return text;
  };
  const std::vector<std::int64_t> above{4, 3}, below{1};
  for (auto [text, expected] : {std::pair{negated(2), above},
                                {negated(60), above},
                                {negated(61), below},
                                {grouped(3), above},
                                {grouped(40), above}}) {
    SCOPED_TRACE(text);
    FetchRequest request(&f.entity("Sample"));
    request.predicate = Predicate::parse(text);
    request.sortDescriptors = {{"entityID", false}};
    request.fetchLimit = 2;
    EXPECT_EQ(ids(f.root->executeFetchRequest(request)), expected);
    EXPECT_EQ(f.root->countForFetchRequest(request), expected.size());
  }
  FetchRequest request(&f.entity("Sample"));
  request.predicate = Predicate::parse(grouped(40));
  EXPECT_THROW(f.store->query(request, {}, true, false), SqlNestingError);
}

TEST(FetchTest, ChildContextSeesAncestorsUnsavedStateAndItsOwn) {
  TempDir dir;
  StoreFixture f(dir);
  fillOwnersAndSamples(f);
  auto child = ManagedObjectContext::createChild(f.root, ConcurrencyType::MainQueue, "child");
  FetchRequest samples(&f.entity("Sample"));
  samples.sortDescriptors = {{"entityID", true}};
  auto rootSamples = f.root->executeFetchRequest(samples);
  f.root->deleteObject(rootSamples[0]);
  f.root->insertNewObject("Sample")->setValueForKey("entityID", 10);
  rootSamples[1]->setValueForKey("entityID", 20);

  EXPECT_EQ(ids(child->executeFetchRequest(samples)), (std::vector<std::int64_t>{3, 4, 10, 20}));
  samples.predicate = Predicate::parse("entityID >= 10");
  EXPECT_EQ(child->countForFetchRequest(samples), 2u);

  auto mine = child->executeFetchRequest(samples);
  child->deleteObject(mine[0]);  // 10, inserted by the parent, not yet saved
  EXPECT_EQ(ids(child->executeFetchRequest(samples)), (std::vector<std::int64_t>{20}));
  EXPECT_EQ(f.root->countForFetchRequest(samples), 2u);  // the parent still has both
  child->save();
  EXPECT_EQ(ids(f.root->executeFetchRequest(samples)), (std::vector<std::int64_t>{20}));
  f.root->save();
  f.open();
  samples.predicate.reset();
  EXPECT_EQ(ids(f.root->executeFetchRequest(samples)), (std::vector<std::int64_t>{3, 4, 20}));
}

TEST(FetchTest, BatchesAndFaultRequestsLoadLazily) {
  TempDir dir;
  StoreFixture f(dir);
  fillOwnersAndSamples(f);
  f.open();
  FetchRequest request(&f.entity("Sample"));
  request.sortDescriptors = {{"entityID", true}};
  request.fetchBatchSize = 2;
  auto batched = f.root->executeFetchRequest(request);
  ASSERT_EQ(batched.size(), 4u);
  EXPECT_FALSE(batched[1]->isFault());
  EXPECT_TRUE(batched[2]->isFault());
  EXPECT_EQ(batched[3]->valueForKey("entityID").asInt64(), 4);
  EXPECT_FALSE(batched[3]->isFault());

  f.open();
  request.fetchBatchSize = 0;
  request.includesPropertyValues = false;
  auto faults = f.root->executeFetchRequest(request);
  ASSERT_EQ(faults.size(), 4u);
  for (auto* o : faults) EXPECT_TRUE(o->isFault());
  EXPECT_EQ(faults[0]->valueForKeyPath("owner.name").asString(), "Ann");

  FetchRequest exact(&f.entity("Record"));
  exact.includesSubentities = false;  // Record is abstract: nothing is exactly a Record
  EXPECT_EQ(f.root->countForFetchRequest(exact), 0u);
  EXPECT_EQ(f.root->countForFetchRequest(FetchRequest(&f.entity("Record"))), 7u);
}

// Pages of a subentity ordered by an indexed attribute, while a sibling entity shares the
// table: every row once, in order, whichever way the store plans the page.
TEST(FetchTest, OffsetPagesOfASubentityCoverEveryRowOnceInOrder) {
  TempDir dir;
  StoreFixture f(dir);
  for (int i = 0; i < 23; ++i) {
    const int id = (i * 7) % 23 + 1;  // stored out of order
    f.root->insertNewObject("Sample")->setValueForKey("entityID", id);
    f.root->insertNewObject("Owner")->setValueForKey("entityID", id);
  }
  f.root->save();
  f.root->reset();

  for (bool ascending : {true, false}) {
    FetchRequest request(&f.entity("Sample"));
    request.sortDescriptors = {{"entityID", ascending}};
    request.fetchLimit = 5;
    std::vector<std::int64_t> seen;
    for (std::size_t offset = 0;; offset += request.fetchLimit) {
      request.fetchOffset = offset;
      auto page = f.root->executeFetchRequest(request);
      for (auto id : ids(page)) seen.push_back(id);
      f.root->reset();
      if (page.size() < request.fetchLimit) break;
    }
    std::vector<std::int64_t> expected;
    for (int id = 1; id <= 23; ++id) expected.push_back(ascending ? id : 24 - id);
    EXPECT_EQ(seen, expected) << (ascending ? "ascending" : "descending");
  }

  // With a filter and an unsaved insert the page still comes from the merged order.
  f.root->insertNewObject("Sample")->setValueForKey("entityID", 0);
  FetchRequest filtered(&f.entity("Sample"));
  filtered.predicate = Predicate::parse("entityID < %@", {Value(std::int64_t{10})});
  filtered.sortDescriptors = {{"entityID", true}};
  filtered.fetchLimit = 4;
  filtered.fetchOffset = 2;
  EXPECT_EQ(ids(f.root->executeFetchRequest(filtered)), (std::vector<std::int64_t>{2, 3, 4, 5}));
}

}  // namespace
}  // namespace dm::test
