// A keyed map shared between threads: the handbook adapter's post caches.
#pragma once

#include <cstddef>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <unordered_map>

namespace dm {

// Every member may be called from any thread at any time. Readers share the lock, writers
// take it alone. Values are copied in and out, so nothing returned aliases the map; keep V
// cheap to copy (a shared_ptr for large values).
template <typename K, typename V, typename Hash = std::hash<K>>
class ThreadSafeDictionary {
 public:
  using Map = std::unordered_map<K, V, Hash>;

  // The value stored under `key`, or nullopt when there is none.
  std::optional<V> get(const K& key) const {
    std::shared_lock lock(mutex_);
    auto found = map_.find(key);
    if (found == map_.end()) return std::nullopt;
    return found->second;
  }

  // Stores `value` under `key`, replacing what was there.
  void set(const K& key, V value) {
    std::unique_lock lock(mutex_);
    map_.insert_or_assign(key, std::move(value));
  }

  // Removes the value under `key`; true when there was one.
  bool remove(const K& key) {
    std::unique_lock lock(mutex_);
    return map_.erase(key) > 0;
  }

  void removeAll() {
    std::unique_lock lock(mutex_);
    map_.clear();
  }

  std::size_t size() const {
    std::shared_lock lock(mutex_);
    return map_.size();
  }

  // A copy of every entry at one instant, owned by the caller.
  Map snapshot() const {
    std::shared_lock lock(mutex_);
    return map_;
  }

 private:
  mutable std::shared_mutex mutex_;
  Map map_;  // guarded by mutex_
};

}  // namespace dm
