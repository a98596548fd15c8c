// Live result sets: a fetch bound to a context that keeps itself up to date as the
// context changes and tells a delegate what moved where.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

#include "Platform/ObjectStore/FetchRequest.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"

namespace dm {

class FetchedResultsController;

enum class ResultsChangeType { Insert, Delete, Move, Update };

// One row change. Indexes refer to the results before the change (oldIndex: Delete, Move,
// Update) and after it (newIndex: Insert, Move, Update).
struct ResultsChange {
  ResultsChangeType type;
  ManagedObject* object = nullptr;
  std::size_t oldIndex = 0;
  std::size_t newIndex = 0;
};

// Learns of changes of the results, on the context's queue. Default methods do nothing.
// Changes of one notification are reported together: willChange, each change (deletes
// first, then inserts, moves and updates), didChange.
class FetchedResultsControllerDelegate {
 public:
  virtual ~FetchedResultsControllerDelegate() = default;
  virtual void controllerWillChangeContent(FetchedResultsController&) {}
  virtual void controllerDidChangeObject(FetchedResultsController&, const ResultsChange&) {}
  virtual void controllerDidChangeContent(FetchedResultsController&) {}
};

// Threads: created anywhere, used on the context's queue only. The results follow the
// context's ObjectsDidChange notifications, i.e. after processPendingChanges, a save, a
// merge from the parent or a batch delete. After the context's reset() call
// performFetch() again: the old results are invalid.
class FetchedResultsController {
 public:
  // `request` must name an entity of the context's model. Its batch size applies to the
  // first fetch (objects past the first batch stay faults until read).
  FetchedResultsController(std::shared_ptr<ManagedObjectContext> context, FetchRequest request);
  ~FetchedResultsController() = default;
  FetchedResultsController(const FetchedResultsController&) = delete;
  FetchedResultsController& operator=(const FetchedResultsController&) = delete;

  // Non-owning; must outlive this controller or be reset to nullptr first.
  void setDelegate(FetchedResultsControllerDelegate* delegate) { delegate_ = delegate; }

  // Fetches the results and starts following the context. Throws PredicateError or
  // StoreError like executeFetchRequest (the previous results then stay).
  void performFetch();

  // The current results (owned by the context; see ManagedObject for their lifetime).
  const std::vector<ManagedObject*>& fetchedObjects() const { return objects_; }
  ManagedObject* objectAtIndex(std::size_t index) const { return objects_.at(index); }
  std::optional<std::size_t> indexOfObject(const ManagedObject* object) const;
  const FetchRequest& fetchRequest() const { return request_; }
  ManagedObjectContext& managedObjectContext() const { return *context_; }

 private:
  void contextDidChange(const ContextChanges& changes);
  bool matches(const ManagedObject* object) const;
  bool before(const ManagedObject* a, const ManagedObject* b) const;

  const std::shared_ptr<ManagedObjectContext> context_;
  const FetchRequest request_;
  FetchedResultsControllerDelegate* delegate_ = nullptr;
  std::vector<ManagedObject*> objects_;
  ObserverToken token_;
};

}  // namespace dm
