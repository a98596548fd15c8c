// Live result sets: incremental update of a sorted fetch from context notifications.
#include "Platform/ObjectStore/FetchedResultsController.h"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <unordered_map>
#include <unordered_set>

#include "Platform/Foundation/Logger.h"

namespace dm {

namespace {
constexpr std::size_t kNone = std::numeric_limits<std::size_t>::max();
}

FetchedResultsController::FetchedResultsController(std::shared_ptr<ManagedObjectContext> context,
                                                   FetchRequest request)
    : context_(std::move(context)), request_(std::move(request)) {
  if (!context_) throw std::invalid_argument("A live result set needs a context");
  if (!request_.entity) throw std::invalid_argument("A live result set needs an entity");
}

void FetchedResultsController::performFetch() {
  objects_ = context_->executeFetchRequest(request_);
  if (!token_.isActive())
    token_ = context_->addObserver(ContextNotification::ObjectsDidChange,
                                   [this](const ContextChanges& c) { contextDidChange(c); });
}

std::optional<std::size_t> FetchedResultsController::indexOfObject(
    const ManagedObject* object) const {
  auto it = std::find(objects_.begin(), objects_.end(), object);
  if (it == objects_.end()) return std::nullopt;
  return static_cast<std::size_t>(it - objects_.begin());
}

bool FetchedResultsController::matches(const ManagedObject* object) const {
  if (object->isDeleted()) return false;
  const EntityDescription& e = object->entity();
  if (request_.includesSubentities ? !e.isKindOf(request_.entity) : &e != request_.entity)
    return false;
  if (!request_.predicate) return true;
  try {
    return evaluate(*request_.predicate, ManagedObjectValueSource(*object));
  } catch (const PredicateError& error) {
    logError(std::string("Live result set cannot evaluate its predicate: ") + error.what());
    return false;
  }
}

bool FetchedResultsController::before(const ManagedObject* a, const ManagedObject* b) const {
  for (const auto& sort : request_.sortDescriptors) {
    int c = Value::compare(a->valueForKeyPath(sort.keyPath), b->valueForKeyPath(sort.keyPath));
    if (c != 0) return sort.ascending ? c < 0 : c > 0;
  }
  return false;
}

void FetchedResultsController::contextDidChange(const ContextChanges& changes) {
  std::unordered_map<const ManagedObject*, std::size_t> oldIndex;
  oldIndex.reserve(objects_.size());
  for (std::size_t i = 0; i < objects_.size(); ++i) oldIndex.emplace(objects_[i], i);
  auto indexIn = [](const auto& map, const ManagedObject* o) {
    auto it = map.find(o);
    return it == map.end() ? kNone : it->second;
  };

  std::unordered_set<const ManagedObject*> changed,
      deleted(changes.deleted.begin(), changes.deleted.end());
  std::vector<ManagedObject*> candidates;
  for (const auto* list : {&changes.inserted, &changes.updated})
    for (ManagedObject* o : *list)
      if (!deleted.count(o) && changed.insert(o).second && matches(o)) candidates.push_back(o);
  bool relevant = !candidates.empty();
  for (const ManagedObject* o : changed) relevant = relevant || oldIndex.count(o);
  for (const ManagedObject* o : deleted) relevant = relevant || oldIndex.count(o);
  if (!relevant) return;

  // The untouched rows keep their order; changed rows go where the sort puts them, as
  // close to their old place as ties allow, so equal keys do not reshuffle.
  std::vector<ManagedObject*> base;
  base.reserve(objects_.size());
  for (ManagedObject* o : objects_)
    if (!deleted.count(o) && !changed.count(o)) base.push_back(o);
  struct Placement {
    std::size_t position;  // slot among the untouched rows
    std::size_t rank;      // the slot it had before; kNone when new
    std::size_t old;
    ManagedObject* object;
  };
  std::vector<Placement> placements;
  placements.reserve(candidates.size());
  for (ManagedObject* o : candidates) {
    std::size_t old = indexIn(oldIndex, o);
    std::size_t lo = 0, hi = base.size();
    if (!request_.sortDescriptors.empty()) {
      lo = std::lower_bound(
               base.begin(), base.end(), o,
               [&](const ManagedObject* x, const ManagedObject* y) { return before(x, y); }) -
           base.begin();
      hi = std::upper_bound(
               base.begin() + lo, base.end(), o,
               [&](const ManagedObject* x, const ManagedObject* y) { return before(x, y); }) -
           base.begin();
    }
    std::size_t position = hi, rank = kNone;
    if (old != kNone) {
      rank = std::partition_point(base.begin(), base.end(),
                                  [&](const ManagedObject* x) { return oldIndex.at(x) < old; }) -
             base.begin();
      position = std::clamp(rank, lo, hi);
    }
    placements.push_back({position, rank, old, o});
  }
  std::stable_sort(placements.begin(), placements.end(), [&](const auto& a, const auto& b) {
    if (a.position != b.position) return a.position < b.position;
    if (before(a.object, b.object)) return true;
    if (before(b.object, a.object)) return false;
    return a.old < b.old;
  });
  // A changed row moved when it changed slot among the untouched rows, or changed order
  // with the other changed rows of its slot.
  std::unordered_set<const ManagedObject*> moved;
  for (std::size_t begin = 0, end; begin < placements.size(); begin = end) {
    end = begin;
    std::vector<const Placement*> group;
    while (end < placements.size() && placements[end].position == placements[begin].position) {
      const Placement& p = placements[end++];
      if (p.rank == kNone) continue;
      if (p.rank != p.position)
        moved.insert(p.object);
      else
        group.push_back(&p);
    }
    auto byOld = group;
    std::sort(byOld.begin(), byOld.end(), [](auto* a, auto* b) { return a->old < b->old; });
    for (std::size_t i = 0; i < group.size(); ++i)
      if (group[i] != byOld[i]) moved.insert(group[i]->object);
  }
  std::vector<ManagedObject*> next;
  next.reserve(base.size() + placements.size());
  std::size_t p = 0;
  for (std::size_t i = 0; i <= base.size(); ++i) {
    while (p < placements.size() && placements[p].position == i)
      next.push_back(placements[p++].object);
    if (i < base.size()) next.push_back(base[i]);
  }

  std::unordered_set<const ManagedObject*> present(next.begin(), next.end());

  std::vector<ResultsChange> report;
  for (std::size_t i = 0; i < objects_.size(); ++i)
    if (!present.count(objects_[i]))
      report.push_back({ResultsChangeType::Delete, objects_[i], i, kNone});
  for (std::size_t i = 0; i < next.size(); ++i) {
    ManagedObject* o = next[i];
    std::size_t old = indexIn(oldIndex, o);
    if (old == kNone)
      report.push_back({ResultsChangeType::Insert, o, kNone, i});
    else if (changed.count(o))
      report.push_back(
          {moved.count(o) ? ResultsChangeType::Move : ResultsChangeType::Update, o, old, i});
  }
  objects_ = std::move(next);
  if (!delegate_ || report.empty()) return;
  delegate_->controllerWillChangeContent(*this);
  for (const auto& change : report) delegate_->controllerDidChangeObject(*this, change);
  delegate_->controllerDidChangeContent(*this);
}

}  // namespace dm
