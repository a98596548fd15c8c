// The main context and several private contexts reading and saving at the same time.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Platform/ObjectStore/ObjectStoreHelpers.h"
#include "Platform/ObjectStore/PersistentStore.h"
#include "StoreTestSupport.h"

namespace dm::test {
namespace {

TEST(StoreConcurrencyTest, MainAndPrivateContextsReadAndSaveTogether) {
  TempDir dir;
  const std::string path = (dir / "Concurrent.sqlite").string();
  constexpr int kWorkers = 4, kRounds = 15, kPerRound = 10;
  int mainInserts = 0;
  {
    auto store = PersistentStore::open(testModel(), StoreType::SQLite, path);
    auto root = ManagedObjectContext::createRoot(store, ConcurrencyType::PrivateQueue, "root");
    auto main = ManagedObjectContext::createChild(root, ConcurrencyType::MainQueue, "main");
    main->setAutomaticallyMergesChangesFromParent(true);
    const EntityDescription& tag = *store->model().entityNamed("Tag");

    std::atomic<int> finished{0};
    std::atomic<bool> failed{false};
    std::vector<std::thread> threads;
    std::vector<std::shared_ptr<ManagedObjectContext>> workers;
    for (int w = 0; w < kWorkers; ++w) {
      workers.push_back(ManagedObjectContext::createChild(root, ConcurrencyType::PrivateQueue,
                                                          "worker" + std::to_string(w)));
      threads.emplace_back([&, w] {
        auto& ctx = *workers[w];
        for (int round = 0; round < kRounds; ++round) {
          ctx.performAndWait([&] {
            try {
              for (int i = 0; i < kPerRound; ++i)
                ctx.insertNewObject(tag)->setValueForKey(
                    "label", "w" + std::to_string(w) + "-" + std::to_string(round * 100 + i));
              ctx.save();
              FetchRequest mine(&tag);
              mine.predicate = Predicate::parse("label BEGINSWITH %@", {"w" + std::to_string(w)});
              if (ctx.countForFetchRequest(mine) !=
                  static_cast<std::size_t>((round + 1) * kPerRound))
                failed = true;
            } catch (const std::exception& e) {
              ADD_FAILURE() << e.what();
              failed = true;
            }
          });
          // Every few rounds the root writes what it has gathered to the file.
          if (round % 5 == 4) ObjectStoreHelpers::saveToPersistentStoreAndWait(*root);
        }
        ++finished;
      });
    }
    // Meanwhile the main thread reads, edits and saves through the same root.
    std::size_t lastSeen = 0;
    while (finished.load() < kWorkers) {
      std::size_t seen = main->countForFetchRequest(FetchRequest(&tag));
      EXPECT_GE(seen, lastSeen);  // saved tags never disappear
      lastSeen = seen;
      if (mainInserts < 20) {
        main->insertNewObject("Owner")->setValueForKey("name", std::to_string(mainInserts++));
        main->save();
      }
      MainQueue::shared().runUntilIdle();
      std::this_thread::yield();
    }
    for (auto& t : threads) t.join();
    MainQueue::shared().runUntilIdle();
    EXPECT_FALSE(failed.load());
    EXPECT_EQ(main->countForFetchRequest(FetchRequest(&tag)),
              static_cast<std::size_t>(kWorkers * kRounds * kPerRound));
    ObjectStoreHelpers::saveToPersistentStoreAndWait(*main);
  }
  auto store = PersistentStore::open(testModel(), StoreType::SQLite, path);
  auto ctx = ManagedObjectContext::createRoot(store, ConcurrencyType::MainQueue);
  EXPECT_EQ(ObjectStoreHelpers::count(*ctx, "Tag"),
            static_cast<std::size_t>(kWorkers * kRounds * kPerRound));
  EXPECT_EQ(ObjectStoreHelpers::count(*ctx, "Owner"), static_cast<std::size_t>(mainInserts));
}

}  // namespace
}  // namespace dm::test
