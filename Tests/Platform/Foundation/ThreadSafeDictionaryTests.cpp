// The shared keyed map: its contract on one thread, then readers and writers at once.
#include "Platform/Foundation/ThreadSafeDictionary.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace dm {
namespace {

TEST(ThreadSafeDictionaryTest, GetSetRemoveAndSnapshotIsolation) {
  ThreadSafeDictionary<int, std::string> posts;
  EXPECT_EQ(posts.get(1), std::nullopt);
  posts.set(1, "squat");
  posts.set(2, "press");
  posts.set(1, "front squat");  // replaces
  EXPECT_EQ(posts.get(1), "front squat");
  EXPECT_EQ(posts.size(), 2u);

  auto snapshot = posts.snapshot();
  posts.set(3, "row");
  EXPECT_TRUE(posts.remove(2));
  EXPECT_FALSE(posts.remove(2));
  // The snapshot is a copy taken at one instant.
  EXPECT_EQ(snapshot.size(), 2u);
  EXPECT_EQ(snapshot.at(2), "press");
  EXPECT_EQ(posts.size(), 2u);

  posts.removeAll();
  EXPECT_EQ(posts.size(), 0u);
  EXPECT_EQ(posts.get(1), std::nullopt);
}

TEST(ThreadSafeDictionaryConcurrencyTest, ReadersSeeWholeValuesWhileWritersChangeThem) {
  // Values are shared_ptrs as the handbook caches hold them; a reader must never see a
  // torn or freed value, and every write must count.
  ThreadSafeDictionary<int, std::shared_ptr<const std::string>> cache;
  constexpr int kKeys = 64;
  constexpr int kWritesPerWriter = 2000;
  std::atomic<bool> start{false};
  std::atomic<int> badReads{0};
  std::vector<std::thread> threads;
  for (int w = 0; w < 3; ++w) {
    threads.emplace_back([&, w] {
      while (!start) std::this_thread::yield();
      for (int i = 0; i < kWritesPerWriter; ++i) {
        int key = (i * 7 + w) % kKeys;
        cache.set(key, std::make_shared<const std::string>(std::to_string(key) + ":" +
                                                           std::string(32, 'a' + w)));
        if (i % 97 == 0) cache.remove(key);
      }
    });
  }
  for (int r = 0; r < 3; ++r) {
    threads.emplace_back([&] {
      while (!start) std::this_thread::yield();
      for (int i = 0; i < kWritesPerWriter; ++i) {
        int key = i % kKeys;
        if (auto value = cache.get(key)) {
          const std::string& text = **value;
          if (text.rfind(std::to_string(key) + ":", 0) != 0) ++badReads;
        }
        if (i % 200 == 0) {
          for (const auto& [k, v] : cache.snapshot()) {
            if (v->rfind(std::to_string(k) + ":", 0) != 0) ++badReads;
          }
        }
      }
    });
  }
  start = true;
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(badReads, 0);
  EXPECT_LE(cache.size(), static_cast<size_t>(kKeys));
  cache.removeAll();
  EXPECT_EQ(cache.size(), 0u);
}

}  // namespace
}  // namespace dm
