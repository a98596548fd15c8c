// What the record layer needs of the main store, supplied by the injector as "objectStore":
// its model and the default context in which class operations work.
#pragma once

#include <memory>
#include <string>

#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Platform/ObjectStore/ManagedObjectModel.h"
#include "Platform/ObjectStore/PersistentStore.h"

namespace dm {

// Implementations must answer from any thread; the model never changes while they live.
class MappingStore {
 public:
  virtual ~MappingStore() = default;
  // The store's model; never null.
  virtual std::shared_ptr<const ManagedObjectModel> managedObjectModel() const = 0;
  // The context that class operations without an explicit context use; never null. Use it
  // on its own queue only.
  virtual std::shared_ptr<ManagedObjectContext> defaultContext() const = 0;
};

// A store file (or an in-memory store) with one private-queue root context: what tools and
// tests use where the application's main store is not running.
class PersistentMappingStore final : public MappingStore {
 public:
  // Opens (creating when missing) the store. Throws StoreError when the file cannot be opened
  // or migrated. Any thread.
  static std::shared_ptr<PersistentMappingStore> open(
      std::shared_ptr<const ManagedObjectModel> model, StoreType type,
      const std::string& path = {});

  std::shared_ptr<const ManagedObjectModel> managedObjectModel() const override {
    return store_->sharedModel();
  }
  std::shared_ptr<ManagedObjectContext> defaultContext() const override { return context_; }
  const std::shared_ptr<PersistentStore>& persistentStore() const { return store_; }

  PersistentMappingStore(std::shared_ptr<PersistentStore> store,
                         std::shared_ptr<ManagedObjectContext> context)
      : store_(std::move(store)), context_(std::move(context)) {}

 private:
  std::shared_ptr<PersistentStore> store_;
  std::shared_ptr<ManagedObjectContext> context_;
};

}  // namespace dm
