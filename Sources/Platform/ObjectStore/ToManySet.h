// The members of one to-many relationship of an object: insertion order kept, membership
// tests and removals in constant time once the list is long.
#pragma once

#include <cstddef>
#include <memory>
#include <unordered_map>
#include <vector>

namespace dm {

class ManagedObject;

// Not thread-safe: guarded by the owning context's lock like the rest of the object's state.
// A short list is searched linearly; from kIndexThreshold members on, a position map makes
// add/contains/remove O(1) (a removal leaves a hole that the next read of members() closes),
// so 50k objects joining one owner cost O(n), not O(n^2).
class ToManySet {
 public:
  static constexpr std::size_t kIndexThreshold = 32;

  ToManySet() = default;
  ToManySet(ToManySet&&) noexcept = default;
  ToManySet& operator=(ToManySet&&) noexcept = default;

  // Whether the members were read (or set from scratch); an unloaded set is empty.
  bool loaded = false;

  // The members in the order they joined. The reference stays valid until the next edit.
  const std::vector<ManagedObject*>& members() const;
  std::size_t size() const { return items_.size() - holes_; }
  bool contains(const ManagedObject* object) const;
  // Appends; false (and no change) when already a member.
  bool add(ManagedObject* object);
  // False when not a member.
  bool remove(const ManagedObject* object);
  // Replaces the members (duplicates dropped, first occurrence kept).
  void assign(const std::vector<ManagedObject*>& members);
  void clear();

 private:
  void compact() const;
  void buildIndex() const;

  mutable std::vector<ManagedObject*> items_;  // nullptr marks a removed member
  mutable std::size_t holes_ = 0;
  mutable std::unique_ptr<std::unordered_map<const ManagedObject*, std::size_t>> positions_;
};

}  // namespace dm
