// A hash set of identity keys stored flat (a fixed number of values per key), numbering
// keys in first-seen order: matching a record against the keys seen so far allocates nothing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Platform/ObjectStore/Value.h"

namespace dm {

// Keys compare like IdentityKeyEqual (numbers by numeric value, texts byte-wise). Plain
// data: one thread at a time.
class IdentityKeyTable {
 public:
  static constexpr std::size_t npos = SIZE_MAX;

  // `width`: values per key (at least 1).
  explicit IdentityKeyTable(std::size_t width = 1);

  std::size_t width() const { return width_; }
  std::size_t size() const { return values_.size() / width_; }
  // Room for `keys` keys without rehashing.
  void reserve(std::size_t keys);

  // The number of the key made of `width()` values at `key`; a key not seen before is added
  // (its values moved out) and `added` set. Never fails (allocation aside).
  std::size_t insert(Value* key, bool& added);
  // The number of the key, or npos when it was never added.
  std::size_t find(const Value* key) const;
  // The values of key `number`.
  const Value* key(std::size_t number) const { return values_.data() + number * width_; }

  // The hash of one key, consistent with IdentityKeyHash.
  static std::size_t hash(const Value* key, std::size_t width);

 private:
  bool equal(std::size_t number, const Value* key) const;
  void rehash(std::size_t capacity);

  std::size_t width_;
  std::vector<Value> values_;         // width_ values per key, in key order
  std::vector<std::uint32_t> slots_;  // open addressing: key number + 1, 0 when empty
};

}  // namespace dm
