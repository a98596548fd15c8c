// The process-wide default store and contexts that record helpers (find-first, find-all,
// delete-all-matching) use when no context is given. The main store publishes its own.
#pragma once

#include <memory>

#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Platform/ObjectStore/PersistentStore.h"

namespace dm {

// All methods may be called from any thread; the returned contexts keep their own queue
// rules (the default context is a main-queue context: use it on the main thread).
class RecordStoreDefaults {
 public:
  // The default persistent store, root saving context and default (main-queue) context;
  // nullptr until published. Callers share ownership.
  static std::shared_ptr<PersistentStore> defaultStore();
  static std::shared_ptr<ManagedObjectContext> rootSavingContext();
  static std::shared_ptr<ManagedObjectContext> defaultContext();

  // Replaces all three at once, so readers never see a mix of two stores.
  static void setDefaults(std::shared_ptr<PersistentStore> store,
                          std::shared_ptr<ManagedObjectContext> rootSavingContext,
                          std::shared_ptr<ManagedObjectContext> defaultContext);
  // Forgets them (the next reads give nullptr).
  static void reset();
};

}  // namespace dm
