// The main-queue context and two private contexts of the main store saving and reading at
// the same time; everything saved must reach the file and every context.
#include <gtest/gtest.h>

#include <future>
#include <string>

#include "MainStoreTestSupport.h"
#include "Platform/ObjectStore/ObjectStoreHelpers.h"

namespace dm::test {
namespace {

using MainStoreConcurrencyTest = MainStoreFixture;

constexpr int kPerWriter = 40;

FetchRequest ownersNamed(const ManagedObjectModel& model, const std::string& prefix) {
  FetchRequest request(model.entityNamed("Owner"));
  request.predicate = Predicate::parse("name BEGINSWITH %@", {Value(prefix)});
  return request;
}

// Inserts and saves one owner at a time, checking after each save that its own rows are all
// visible; returns how many checks failed.
int writeOwners(ManagedObjectContext& context, const ManagedObjectModel& model,
                const std::string& prefix, std::int64_t firstID) {
  int failures = 0;
  const auto* entity = model.entityNamed("Owner");
  for (int i = 0; i < kPerWriter; ++i) {
    ManagedObject* owner = context.insertNewObject(*entity);
    owner->setValueForKey("entityID", firstID + i);
    owner->setValueForKey("name", prefix + std::to_string(i));
    ObjectStoreHelpers::saveToPersistentStoreAndWait(context);
    if (context.countForFetchRequest(ownersNamed(model, prefix)) != std::size_t(i + 1)) ++failures;
  }
  return failures;
}

TEST_F(MainStoreConcurrencyTest, MainAndPrivateContextsSaveAndReadTogether) {
  auto store = ManagedObjectStore::initWithManagedObjectModel(mainStoreTestModel());
  ASSERT_FALSE(store->isInMemory());
  const auto& model = *store->managedObjectModel();

  std::vector<std::shared_ptr<ManagedObjectContext>> privates = {
      store->newPrivateQueueContext("writer-a"), store->newPrivateQueueContext("writer-b")};
  std::vector<std::future<int>> results;
  for (std::size_t w = 0; w < privates.size(); ++w) {
    auto promise = std::make_shared<std::promise<int>>();
    results.push_back(promise->get_future());
    auto context = privates[w];
    const std::string prefix = "private" + std::to_string(w) + "-";
    const std::int64_t firstID = 1000 * static_cast<std::int64_t>(w + 1);
    context->perform([promise, context, &model, prefix, firstID] {
      try {
        promise->set_value(writeOwners(*context, model, prefix, firstID));
      } catch (...) {
        promise->set_exception(std::current_exception());
      }
    });
  }

  // The main thread writes too, and applies the merges queued for it between its saves.
  auto main = store->mainQueueManagedObjectContext();
  EXPECT_EQ(writeOwners(*main, model, "main-", 1), 0);
  MainQueue::shared().runUntilIdle();
  for (auto& result : results) EXPECT_EQ(result.get(), 0);
  MainQueue::shared().runUntilIdle();

  const std::size_t total = 3 * kPerWriter;
  FetchRequest all(model.entityNamed("Owner"));
  EXPECT_EQ(main->countForFetchRequest(all), total);
  EXPECT_EQ(main->executeFetchRequest(all).size(), total);
  for (auto& context : privates) {
    std::size_t seen = 0;
    context->performAndWait([&] { seen = context->executeFetchRequest(all).size(); });
    EXPECT_EQ(seen, total) << context->label();
  }

  // And the file holds every row.
  privates.clear();
  main.reset();
  store.reset();
  ManagedObjectStore::resetSharedInstance();
  MainQueue::shared().runUntilIdle();
  auto reopened = ManagedObjectStore::initWithManagedObjectModel(mainStoreTestModel());
  std::size_t stored = 0;
  auto root = reopened->persistentStoreManagedObjectContext();
  root->performAndWait([&] { stored = root->countForFetchRequest(all); });
  EXPECT_EQ(stored, total);
}

}  // namespace
}  // namespace dm::test
