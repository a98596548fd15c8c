// Serial queues and the main queue: ordering, nested and failing performAndWait, draining
// on destruction, and several producers at once.
#include "Platform/Foundation/WorkQueue.h"

#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#include "Support/RecordingSinks.h"

namespace dm {
namespace {

TEST(SerialQueueTest, RunsBlocksInSubmissionOrderOffTheCallingThread) {
  SerialQueue queue("test.order");
  std::vector<int> seen;
  bool offCaller = true;
  auto caller = std::this_thread::get_id();
  for (int i = 0; i < 500; ++i) {
    queue.async([&, i] {
      seen.push_back(i);
      offCaller = offCaller && std::this_thread::get_id() != caller && queue.isCurrent();
    });
  }
  queue.performAndWait([] {});
  ASSERT_EQ(seen.size(), 500u);
  for (int i = 0; i < 500; ++i) EXPECT_EQ(seen[static_cast<size_t>(i)], i);
  EXPECT_TRUE(offCaller);
  EXPECT_FALSE(queue.isCurrent());
  EXPECT_EQ(WorkQueue::current(), nullptr);
}

TEST(SerialQueueTest, NestedPerformAndWaitRunsInlineWithTheQueueCurrent) {
  SerialQueue queue("test.nested");
  SerialQueue other("test.other");
  std::vector<std::string> steps;
  queue.performAndWait([&] {
    EXPECT_EQ(WorkQueue::current(), &queue);
    queue.performAndWait([&] {
      steps.push_back("inner");
      EXPECT_EQ(WorkQueue::current(), &queue);
      // Hopping to another queue and back makes that queue current only inside.
      other.performAndWait([&] { EXPECT_EQ(WorkQueue::current(), &other); });
      EXPECT_EQ(WorkQueue::current(), &queue);
    });
    steps.push_back("outer");
  });
  EXPECT_EQ(steps, (std::vector<std::string>{"inner", "outer"}));
}

TEST(SerialQueueTest, PerformAndWaitRethrowsAndTheQueueCarriesOn) {
  test::RecordingSinks sinks;
  SerialQueue queue("test.throwing");
  EXPECT_THROW(queue.performAndWait([] { throw std::runtime_error("boom"); }), std::runtime_error);
  // Inline on its own queue too, and current() is restored after the throw.
  queue.performAndWait([&] {
    EXPECT_THROW(queue.performAndWait([] { throw std::logic_error("inner"); }), std::logic_error);
    EXPECT_EQ(WorkQueue::current(), &queue);
  });
  // An exception escaping an async block is logged with the queue's label, not lost.
  queue.async([] { throw std::runtime_error("async failure"); });
  int after = 0;
  queue.performAndWait([&] { after = 1; });
  EXPECT_EQ(after, 1);
  EXPECT_TRUE(sinks.logger->contains(LogLevel::Error, "test.throwing"));
  EXPECT_TRUE(sinks.logger->contains(LogLevel::Error, "async failure"));
  EXPECT_FALSE(sinks.logger->contains(LogLevel::Error, "boom"));  // went to the caller instead
}

TEST(SerialQueueTest, DestructorRunsEveryPendingBlock) {
  int ran = 0;
  std::promise<void> gate;
  std::shared_future<void> opened = gate.get_future().share();
  {
    SerialQueue queue("test.drain");
    queue.async([opened] { opened.wait(); });
    for (int i = 0; i < 100; ++i) {
      queue.async([&ran, &queue, i] {
        ++ran;
        if (i == 99) queue.async([&ran] { ++ran; });  // submitted while draining
      });
    }
    gate.set_value();
  }
  EXPECT_EQ(ran, 101);
}

TEST(MainQueueTest, RunUntilIdleRunsBlocksThatPostMoreBlocks) {
  MainQueue& main = MainQueue::shared();
  main.adoptCurrentThread();
  main.runUntilIdle();  // whatever earlier tests left
  std::vector<std::string> order;
  main.async([&] {
    order.push_back("a");
    EXPECT_EQ(WorkQueue::current(), &main);
    main.async([&] {
      order.push_back("c");
      main.async([&] { order.push_back("e"); });
    });
  });
  main.async([&] { order.push_back("b"); });
  main.async([&] { order.push_back("d"); });
  EXPECT_EQ(main.runUntilIdle(), 5u);
  EXPECT_EQ(order, (std::vector<std::string>{"a", "b", "d", "c", "e"}));
  EXPECT_EQ(main.runUntilIdle(), 0u);
  EXPECT_TRUE(main.isCurrent());
}

TEST(WorkQueueConcurrencyTest, ProducersKeepTheirOrderAndBlocksNeverOverlap) {
  SerialQueue queue("test.producers");
  constexpr int kProducers = 4;
  constexpr int kBlocks = 1000;
  // Touched only from the queue: the sanitizer flags any overlap of two blocks.
  std::vector<std::vector<int>> seen(kProducers);
  int total = 0;
  std::vector<std::thread> producers;
  for (int p = 0; p < kProducers; ++p) {
    producers.emplace_back([&, p] {
      for (int i = 0; i < kBlocks; ++i) {
        if (i % 100 == 99) {
          queue.performAndWait([&, p, i] {
            seen[static_cast<size_t>(p)].push_back(i);
            ++total;
          });
        } else {
          queue.async([&, p, i] {
            seen[static_cast<size_t>(p)].push_back(i);
            ++total;
          });
        }
      }
    });
  }
  for (auto& producer : producers) producer.join();
  queue.performAndWait([] {});
  EXPECT_EQ(total, kProducers * kBlocks);
  for (const auto& sequence : seen) {
    ASSERT_EQ(sequence.size(), static_cast<size_t>(kBlocks));
    for (int i = 0; i < kBlocks; ++i) EXPECT_EQ(sequence[static_cast<size_t>(i)], i);
  }
}

TEST(WorkQueueConcurrencyTest, OtherThreadsReachTheMainQueueWhileItRuns) {
  MainQueue& main = MainQueue::shared();
  main.adoptCurrentThread();
  main.runUntilIdle();
  SerialQueue worker("test.worker");
  int onMain = 0;
  bool wasMainThread = false;
  worker.async([&] {
    EXPECT_FALSE(main.isCurrent());
    for (int i = 0; i < 50; ++i) main.performAndWait([&] { ++onMain; });
    main.performAndWait([&] { wasMainThread = main.isCurrent(); });
    main.stop();
  });
  main.run();
  worker.performAndWait([] {});
  EXPECT_EQ(onMain, 50);
  EXPECT_TRUE(wasMainThread);
}

}  // namespace
}  // namespace dm
