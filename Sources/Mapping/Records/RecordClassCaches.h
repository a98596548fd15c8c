// The per-class caches of derived mappings: entity names, automatic attribute and relationship
// mappings of entities, automatic attribute mappings of transient records.
#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "Mapping/Records/RecordClass.h"

namespace dm {

// Entries keyed by record class name, filled on first use and kept for the process (never
// emptied, never recomputed). Thread-safe: a lookup and an insertion take a short lock; a
// value is built outside the lock, and when two threads build the same entry at once the
// first stored one wins, so every caller sees one value.
template <class T>
class ClassCache {
 public:
  std::optional<T> find(std::string_view className) const {
    std::lock_guard lock(mutex_);
    auto it = entries_.find(std::string(className));
    if (it == entries_.end()) return std::nullopt;
    return it->second;
  }
  // Stores `value` unless an entry exists; returns the entry that is kept.
  T store(std::string_view className, T value) {
    std::lock_guard lock(mutex_);
    return entries_.emplace(std::string(className), std::move(value)).first->second;
  }
  T findOrBuild(std::string_view className, const std::function<T()>& build) {
    if (auto cached = find(className)) return std::move(*cached);
    return store(className, build());
  }

 private:
  mutable std::mutex mutex_;
  std::unordered_map<std::string, T> entries_;  // guarded by mutex_
};

// The four caches, each created once on first use (run-once by static initialisation).
struct RecordClassCaches {
  static ClassCache<std::string>& entityNames();
  static ClassCache<MappingDictionary>& entityAttributeMappings();
  static ClassCache<RelationshipDictionary>& entityRelationshipMappings();
  static ClassCache<MappingDictionary>& objectAttributeMappings();
};

}  // namespace dm
