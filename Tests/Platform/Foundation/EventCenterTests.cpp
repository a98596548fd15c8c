// Event delivery, sender filtering, token lifetime and removal while delivering.
#include <atomic>
#include <latch>
#include <optional>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "Platform/Foundation/EventCenter.h"
#include "Support/RecordingSinks.h"

namespace dm {
namespace {

TEST(EventCenterTest, DeliversByNameAndSenderWithInfo) {
  EventCenter center;
  int sender = 0;
  int otherSender = 0;
  std::vector<std::string> calls;
  auto byName = center.addObserver("kUnitsChanged", [&](const Event& event) {
    calls.push_back("name:" + (event.userInfo.is_null()
                                   ? std::string("-")
                                   : event.userInfo.value("unit", std::string())));
  });
  auto bySender = center.addObserver(
      "kUnitsChanged", [&](const Event&) { calls.push_back("sender"); }, &sender);
  auto everything =
      center.addObserver("", [&](const Event& event) { calls.push_back("all:" + event.name); });

  center.post("kUnitsChanged", &otherSender, {{"unit", "kg"}});
  center.post("kUnitsChanged", &sender);
  center.post("kOther");
  EXPECT_EQ(calls, (std::vector<std::string>{"name:kg", "all:kUnitsChanged", "name:-", "sender",
                                             "all:kUnitsChanged", "all:kOther"}));
}

TEST(EventCenterTest, TokensUnregisterOnDestructionMoveAndRemove) {
  EventCenter center;
  int calls = 0;
  {
    auto token = center.addObserver("e", [&](const Event&) { ++calls; });
    ObserverToken moved = std::move(token);
    EXPECT_FALSE(token.isActive());
    center.post("e");
    ObserverToken assigned;
    assigned = std::move(moved);
    center.post("e");
  }
  center.post("e");
  EXPECT_EQ(calls, 2);

  auto token = center.addObserver("e", [&](const Event&) { ++calls; });
  center.removeObserver(token);
  center.removeObserver(token);  // twice is harmless
  center.post("e");
  EXPECT_EQ(calls, 2);

  // A token outliving its centre is inert.
  std::optional<ObserverToken> late;
  {
    EventCenter shortLived;
    late = shortLived.addObserver("e", [](const Event&) {});
  }
  EXPECT_FALSE(late->isActive());
  late.reset();
}

TEST(EventCenterTest, ObserversMayRemoveThemselvesAndOthersDuringDelivery) {
  EventCenter center;
  std::vector<std::string> calls;
  ObserverToken first, second, third, fourth;
  first = center.addObserver("e", [&](const Event&) {
    calls.push_back("first");
    first.reset();  // removes itself while running
  });
  second = center.addObserver("e", [&](const Event&) {
    calls.push_back("second");
    third.reset();  // removes one not yet called in this delivery
    // Added during delivery: waits for the next post.
    fourth = center.addObserver("e", [&](const Event&) { calls.push_back("fourth"); });
  });
  third = center.addObserver("e", [&](const Event&) { calls.push_back("third"); });

  center.post("e");
  EXPECT_EQ(calls, (std::vector<std::string>{"first", "second"}));
  calls.clear();
  second.reset();
  center.post("e");
  EXPECT_EQ(calls, (std::vector<std::string>{"fourth"}));
}

TEST(EventCenterTest, ThrowingObserverDoesNotStopDelivery) {
  test::RecordingSinks sinks;
  EventCenter center;
  bool reached = false;
  auto throws = center.addObserver("e", [](const Event&) { throw std::runtime_error("boom"); });
  auto after = center.addObserver("e", [&](const Event&) { reached = true; });
  center.post("e");
  EXPECT_TRUE(reached);
  EXPECT_TRUE(sinks.logger->contains(LogLevel::Error, "boom"));
}

TEST(EventCenterConcurrencyTest, PostsAndRemovalsFromManyThreads) {
  EventCenter center;
  std::atomic<int> delivered{0};
  constexpr int kThreads = 4;
  constexpr int kRounds = 200;
  std::latch start(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&] {
      start.arrive_and_wait();
      for (int round = 0; round < kRounds; ++round) {
        auto token = center.addObserver("tick", [&](const Event&) { ++delivered; });
        center.post("tick");
        token.reset();
      }
    });
  }
  for (auto& thread : threads) thread.join();
  // Each post reaches at least the poster's own observer.
  EXPECT_GE(delivered, kThreads * kRounds);
  int after = 0;
  auto last = center.addObserver("tick", [&](const Event&) { ++after; });
  center.post("tick");
  EXPECT_EQ(after, 1);  // no observer of the threads is left
}

}  // namespace
}  // namespace dm
