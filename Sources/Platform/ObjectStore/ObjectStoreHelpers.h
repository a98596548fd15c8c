// Object-store helpers: the process-wide default store and contexts, and the short forms
// of the common fetches (find first, find all sorted, count, delete matching, save).
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Platform/ObjectStore/PersistentStore.h"

namespace dm {

class ObjectStoreHelpers {
 public:
  // --- Defaults. Set once by the main store when it opens; any thread may read them. ---
  // Each getter returns nullptr until set. Setting nullptr clears (tests).
  static void setDefaultStore(std::shared_ptr<PersistentStore> store);
  static void setRootSavingContext(std::shared_ptr<ManagedObjectContext> context);
  static void setDefaultContext(std::shared_ptr<ManagedObjectContext> context);
  static std::shared_ptr<PersistentStore> defaultStore();
  static std::shared_ptr<ManagedObjectContext> rootSavingContext();
  static std::shared_ptr<ManagedObjectContext> defaultContext();

  // --- Fetch helpers: on the context's queue; objects are owned by the context. ---
  // Entity names must be in the context's model (Error UnknownEntity otherwise); predicate
  // keys outside the model throw PredicateError, store failures StoreError.
  // The first object by `sortKey` (ascending unless told), or any match without a
  // sort key; nullptr when nothing matches.
  static ManagedObject* findFirst(ManagedObjectContext& context, std::string_view entity,
                                  std::optional<Predicate> predicate = std::nullopt,
                                  std::string sortKey = {}, bool ascending = true);
  // Every match, ordered by `sortKey` (unordered when empty).
  static std::vector<ManagedObject*> findAllSorted(
      ManagedObjectContext& context, std::string_view entity, std::string sortKey = {},
      bool ascending = true, std::optional<Predicate> predicate = std::nullopt);
  static std::size_t count(ManagedObjectContext& context, std::string_view entity,
                           std::optional<Predicate> predicate = std::nullopt);
  // Marks every match deleted in the context (delete rules apply; nothing is saved).
  // Returns how many.
  static std::size_t deleteAllMatching(ManagedObjectContext& context, std::string_view entity,
                                       std::optional<Predicate> predicate = std::nullopt);

  // Saves `context`, then each ancestor up to the root, each on its own queue, and returns
  // when the file is written. Any thread, but a main-queue context on the way needs the
  // main thread to be the caller or to be running its queue. Throws StoreError from the
  // first failing save (the changes stay pending in that context).
  static void saveToPersistentStoreAndWait(ManagedObjectContext& context);
};

}  // namespace dm
