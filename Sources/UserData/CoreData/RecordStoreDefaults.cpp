// Process-wide default store and contexts.
#include "UserData/CoreData/RecordStoreDefaults.h"

#include <mutex>
#include <utility>

namespace dm {
namespace {

struct Defaults {
  std::mutex mutex;
  // Guarded by mutex.
  std::shared_ptr<PersistentStore> store;
  std::shared_ptr<ManagedObjectContext> root;
  std::shared_ptr<ManagedObjectContext> main;
};

Defaults& defaults() {
  static Defaults instance;
  return instance;
}

}  // namespace

std::shared_ptr<PersistentStore> RecordStoreDefaults::defaultStore() {
  std::lock_guard lock(defaults().mutex);
  return defaults().store;
}

std::shared_ptr<ManagedObjectContext> RecordStoreDefaults::rootSavingContext() {
  std::lock_guard lock(defaults().mutex);
  return defaults().root;
}

std::shared_ptr<ManagedObjectContext> RecordStoreDefaults::defaultContext() {
  std::lock_guard lock(defaults().mutex);
  return defaults().main;
}

void RecordStoreDefaults::setDefaults(std::shared_ptr<PersistentStore> store,
                                      std::shared_ptr<ManagedObjectContext> rootSavingContext,
                                      std::shared_ptr<ManagedObjectContext> defaultContext) {
  std::shared_ptr<PersistentStore> oldStore;
  std::shared_ptr<ManagedObjectContext> oldRoot, oldMain;
  {
    std::lock_guard lock(defaults().mutex);
    oldStore = std::exchange(defaults().store, std::move(store));
    oldRoot = std::exchange(defaults().root, std::move(rootSavingContext));
    oldMain = std::exchange(defaults().main, std::move(defaultContext));
  }
  // The old ones are released outside the lock: a context's destructor joins its queue.
}

void RecordStoreDefaults::reset() {
  setDefaults(nullptr, nullptr, nullptr);
}

}  // namespace dm
