// Ordered to-many membership with a position index for long lists.
#include "Platform/ObjectStore/ToManySet.h"

#include <algorithm>

namespace dm {

const std::vector<ManagedObject*>& ToManySet::members() const {
  if (holes_) compact();
  return items_;
}

void ToManySet::compact() const {
  std::erase(items_, nullptr);
  holes_ = 0;
  if (positions_) buildIndex();
}

void ToManySet::buildIndex() const {
  if (!positions_)
    positions_ = std::make_unique<std::unordered_map<const ManagedObject*, std::size_t>>();
  positions_->clear();
  positions_->reserve(items_.size());
  for (std::size_t i = 0; i < items_.size(); ++i)
    if (items_[i]) positions_->emplace(items_[i], i);
}

bool ToManySet::contains(const ManagedObject* object) const {
  if (!object) return false;
  if (positions_) return positions_->count(object) != 0;
  return std::find(items_.begin(), items_.end(), object) != items_.end();
}

bool ToManySet::add(ManagedObject* object) {
  if (!object || contains(object)) return false;
  // Holes are closed before they outnumber the members, so memory stays proportional.
  if (holes_ > items_.size() / 2) compact();
  items_.push_back(object);
  if (positions_)
    positions_->emplace(object, items_.size() - 1);
  else if (items_.size() >= kIndexThreshold)
    buildIndex();
  return true;
}

bool ToManySet::remove(const ManagedObject* object) {
  if (!object) return false;
  if (positions_) {
    auto it = positions_->find(object);
    if (it == positions_->end()) return false;
    items_[it->second] = nullptr;
    ++holes_;
    positions_->erase(it);
    return true;
  }
  auto it = std::find(items_.begin(), items_.end(), object);
  if (it == items_.end()) return false;
  items_.erase(it);
  return true;
}

void ToManySet::assign(const std::vector<ManagedObject*>& members) {
  clear();
  items_.reserve(members.size());
  for (ManagedObject* m : members) add(m);
}

void ToManySet::clear() {
  items_.clear();
  holes_ = 0;
  positions_.reset();
}

}  // namespace dm
