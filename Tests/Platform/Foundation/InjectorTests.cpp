// Singleton creation, named requirements, failure paths and concurrent first requests.
#include <atomic>
#include <latch>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "Platform/Foundation/Injector.h"
#include "Support/RecordingSinks.h"

namespace dm {
namespace {

struct Store {
  static inline std::atomic<int> created{0};
  Store() { ++created; }
};

struct Mapper {
  std::shared_ptr<Store> objectStore;
  void setObjectStore(std::shared_ptr<Store> store) { objectStore = std::move(store); }
};

struct Other {};

class InjectorTest : public ::testing::Test {
 protected:
  void SetUp() override { Store::created = 0; }

  test::RecordingSinks sinks_;
  Injector injector_;
};

TEST_F(InjectorTest, SingletonIsSharedAndRequirementIsFilledFromNamedProvider) {
  injector_.registerSingleton<Store>([](Injector&) { return std::make_shared<Store>(); });
  injector_.registerProvider<Store>("objectStore");
  injector_.registerSingleton<Mapper>(
      [](Injector&) { return std::make_shared<Mapper>(); },
      {Injector::requirement("objectStore", &Mapper::setObjectStore)});

  auto mapper = injector_.get<Mapper>();
  ASSERT_TRUE(mapper);
  EXPECT_EQ(mapper, injector_.get<Mapper>());
  EXPECT_EQ(mapper->objectStore, injector_.get<Store>());
  EXPECT_EQ(Store::created, 1);

  injector_.releaseInstances();
  auto again = injector_.get<Mapper>();
  EXPECT_NE(again, mapper);
  EXPECT_EQ(Store::created, 2);
}

TEST_F(InjectorTest, FailuresGiveNullAndAreRetried) {
  EXPECT_EQ(injector_.get<Store>(), nullptr);  // unregistered
  EXPECT_TRUE(sinks_.logger->contains(LogLevel::Error, "no registration"));

  // A requirement whose provider is missing fails the creation, which is retried later.
  injector_.registerSingleton<Mapper>(
      [](Injector&) { return std::make_shared<Mapper>(); },
      {Injector::requirement("objectStore", &Mapper::setObjectStore)});
  EXPECT_EQ(injector_.get<Mapper>(), nullptr);
  injector_.registerProvider<Store>("objectStore",
                                    [](Injector&) { return std::make_shared<Store>(); });
  ASSERT_TRUE(injector_.get<Mapper>());
  EXPECT_TRUE(injector_.get<Mapper>()->objectStore);

  // A provider of another type is refused rather than cast.
  injector_.registerProvider<Other>("objectStore",
                                    [](Injector&) { return std::make_shared<Other>(); });
  EXPECT_EQ(injector_.getNamed<Store>("objectStore"), nullptr);

  int attempts = 0;
  injector_.registerSingleton<Other>([&attempts](Injector&) -> std::shared_ptr<Other> {
    if (++attempts == 1) throw std::runtime_error("disk full");
    return std::make_shared<Other>();
  });
  EXPECT_EQ(injector_.get<Other>(), nullptr);
  EXPECT_TRUE(sinks_.logger->contains(LogLevel::Error, "disk full"));
  EXPECT_TRUE(injector_.get<Other>());
}

TEST_F(InjectorTest, CyclicCreationFailsInsteadOfDeadlocking) {
  injector_.registerSingleton<Store>([](Injector& injector) {
    injector.get<Store>();  // re-enters its own creation
    return std::make_shared<Store>();
  });
  // The inner request fails; the outer one still completes.
  EXPECT_TRUE(injector_.get<Store>());
  EXPECT_TRUE(sinks_.logger->contains(LogLevel::Error, "cyclic"));
}

TEST_F(InjectorTest, DefaultInjectorIsReplaceable) {
  Injector::reset();
  auto first = Injector::defaultInjector();
  first->registerSingleton<Store>([](Injector&) { return std::make_shared<Store>(); });
  EXPECT_TRUE(Injector::defaultInjector()->isRegistered<Store>());
  Injector::reset();
  EXPECT_FALSE(Injector::defaultInjector()->isRegistered<Store>());
  EXPECT_TRUE(first->isRegistered<Store>());  // holders keep their injector
}

TEST(InjectorConcurrencyTest, ConcurrentFirstRequestsCreateOnce) {
  Injector injector;
  std::atomic<int> created{0};
  injector.registerSingleton<Other>([&created](Injector&) {
    ++created;
    return std::make_shared<Other>();
  });
  constexpr int kThreads = 8;
  std::latch start(kThreads);
  std::vector<std::shared_ptr<Other>> results(kThreads);
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      start.arrive_and_wait();
      results[i] = injector.get<Other>();
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(created, 1);
  for (const auto& result : results) EXPECT_EQ(result, results[0]);
}

}  // namespace
}  // namespace dm
