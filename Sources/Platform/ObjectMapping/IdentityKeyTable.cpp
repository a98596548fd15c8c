// IdentityKeyTable: linear probing over key numbers, keys kept in one flat vector.
#include "Platform/ObjectMapping/IdentityKeyTable.h"

#include <algorithm>

#include "Platform/ObjectMapping/MappingDestination.h"

namespace dm {

IdentityKeyTable::IdentityKeyTable(std::size_t width) : width_(std::max<std::size_t>(width, 1)) {}

std::size_t IdentityKeyTable::hash(const Value* key, std::size_t width) {
  std::size_t h = width;
  for (std::size_t i = 0; i < width; ++i) h = h * 1000003u ^ IdentityKeyHash::hashValue(key[i]);
  // Integer ids hash to themselves; mix so that runs of ids spread over the table.
  std::uint64_t x = h;
  x ^= x >> 33;
  x *= 0xff51afd7ed558ccdULL;
  x ^= x >> 33;
  return static_cast<std::size_t>(x);
}

bool IdentityKeyTable::equal(std::size_t number, const Value* key) const {
  const Value* stored = this->key(number);
  for (std::size_t i = 0; i < width_; ++i) {
    if (!(stored[i] == key[i])) return false;
  }
  return true;
}

void IdentityKeyTable::reserve(std::size_t keys) {
  values_.reserve(keys * width_);
  std::size_t capacity = 16;
  while (capacity < 2 * keys) capacity *= 2;
  if (capacity > slots_.size()) rehash(capacity);
}

void IdentityKeyTable::rehash(std::size_t capacity) {
  slots_.assign(capacity, 0);
  const std::size_t mask = capacity - 1;
  for (std::size_t n = 0, count = size(); n < count; ++n) {
    std::size_t i = hash(key(n), width_) & mask;
    while (slots_[i] != 0) i = (i + 1) & mask;
    slots_[i] = static_cast<std::uint32_t>(n + 1);
  }
}

std::size_t IdentityKeyTable::insert(Value* key, bool& added) {
  if (2 * (size() + 1) > slots_.size()) rehash(std::max<std::size_t>(16, slots_.size() * 2));
  const std::size_t mask = slots_.size() - 1;
  for (std::size_t i = hash(key, width_) & mask;; i = (i + 1) & mask) {
    const std::uint32_t slot = slots_[i];
    if (slot == 0) {
      const std::size_t number = size();
      for (std::size_t v = 0; v < width_; ++v) values_.push_back(std::move(key[v]));
      slots_[i] = static_cast<std::uint32_t>(number + 1);
      added = true;
      return number;
    }
    if (equal(slot - 1, key)) {
      added = false;
      return slot - 1;
    }
  }
}

std::size_t IdentityKeyTable::find(const Value* key) const {
  if (slots_.empty()) return npos;
  const std::size_t mask = slots_.size() - 1;
  for (std::size_t i = hash(key, width_) & mask;; i = (i + 1) & mask) {
    const std::uint32_t slot = slots_[i];
    if (slot == 0) return npos;
    if (equal(slot - 1, key)) return slot - 1;
  }
}

}  // namespace dm
