// Shared set-up for the object store tests: the test model and stores in a temp directory.
#pragma once

#include <memory>
#include <string>

#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Platform/ObjectStore/PersistentStore.h"
#include "Support/TempDir.h"

namespace dm::test {

inline std::shared_ptr<const ManagedObjectModel> testModel() {
  static auto model = ManagedObjectModel::fromJson(readFile(fixturePath("Models/TestModel.json")));
  return model;
}

// A store file in `dir` and a root context bound to the calling (main) thread.
struct StoreFixture {
  explicit StoreFixture(const TempDir& dir, std::string name = "Test.sqlite")
      : path((dir / name).string()) {
    open();
  }
  void open() {
    root.reset();
    store.reset();
    store = PersistentStore::open(testModel(), StoreType::SQLite, path);
    root = ManagedObjectContext::createRoot(store, ConcurrencyType::MainQueue, "test-root");
  }
  const EntityDescription& entity(const char* name) const {
    return *store->model().entityNamed(name);
  }

  std::string path;
  std::shared_ptr<PersistentStore> store;
  std::shared_ptr<ManagedObjectContext> root;
};

}  // namespace dm::test
