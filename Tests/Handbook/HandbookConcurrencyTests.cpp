// The saving queue applies updates while two threads and the main thread read through the
// adapter.
#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include "Handbook/Entities/HandbookPostProductEntity.h"
#include "Handbook/HandbookTestSupport.h"

namespace dm {
namespace {

TEST(HandbookConcurrencyTest, ReadersSeeWholeRecordsWhileUpdatesAreSaved) {
  test::HandbookEnvironment env;
  test::SharedAdapterScope scope(env.storageOptions());
  auto& adapter = scope.adapter();
  adapter.getHandbookUpdateEntityFromRequest(test::smallUpdateDictionary("en", 1));
  adapter.saveAndWait();

  constexpr int kUpdates = 20;
  std::atomic<int> saved{0};
  for (int version = 2; version <= kUpdates + 1; ++version) {
    adapter.storage()->performOnSavingQueue(
        [&adapter, version](ManagedObjectContext&) {
          adapter.getHandbookUpdateEntityFromRequest(test::smallUpdateDictionary("en", version));
        },
        [&saved] { ++saved; });
  }

  std::atomic<bool> failed{false};
  auto reader = [&] {
    while (saved.load() < kUpdates) {
      auto products = adapter.getEntities(5, {"entityID"});
      if (products.size() != 3) failed = true;
      HandbookPostProductEntity* rice = adapter.getPostProductEntity(40);
      if (!rice || rice->title() != "Rice" || rice->calories().value_or(0) < 131) failed = true;
      if (adapter.getPostProductEntity(42)->handbooksForIngredients().size() != 2) failed = true;
    }
  };
  std::thread first(reader);
  std::thread second(reader);
  while (saved.load() < kUpdates) {
    MainQueue::shared().runUntilIdle();
    if (adapter.getEntities(4, {"entityID"}).size() != 2) failed = true;
  }
  first.join();
  second.join();
  MainQueue::shared().runUntilIdle();
  EXPECT_FALSE(failed.load());
  FetchRequest request(adapter.storage()->entityNamed("HandbookUpdateEntity"));
  EXPECT_EQ(adapter.storage()->count(request), static_cast<std::size_t>(kUpdates + 1));
  EXPECT_DOUBLE_EQ(*adapter.getPostProductEntity(40)->calories(), 130.0 + kUpdates + 1);
}

}  // namespace
}  // namespace dm
