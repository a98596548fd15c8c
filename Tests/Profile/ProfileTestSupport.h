// A main store in a temporary data root with the profile services installed on its root
// context, plus helpers to map payloads and fetch records there.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Mapping/Records/ModelMapper.h"
#include "Platform/Foundation/Clock.h"
#include "Platform/Foundation/Directories.h"
#include "Platform/Foundation/Injector.h"
#include "Platform/Foundation/SettingsStore.h"
#include "Platform/ObjectMapping/ManagedObjectDestination.h"
#include "Platform/ObjectMapping/MappingOperation.h"
#include "Platform/ObjectStore/FetchRequest.h"
#include "ProfileStoreServices.h"
#include "Support/TempDir.h"
#include "Units/UnitsHelper.h"
#include "UserData/CoreData/ManagedObjectStore.h"

namespace dm::test {

class ProfileStoreTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ManagedObjectStore::resetSharedInstance();
    Injector::reset();
    Directories::setDataRoot(dir.path());
    store = ManagedObjectStore::initWithModelName(ManagedObjectStore::modelName);
    ASSERT_NE(store, nullptr);
    context = store->persistentStoreManagedObjectContext();
    installProfileStoreServices(store, *Injector::defaultInjector(), units, context);
  }
  // Also puts back the shared clock a test may have replaced.
  void TearDown() override {
    Clock::setShared(nullptr);
    Injector::reset();
    ManagedObjectStore::resetSharedInstance();
    Directories::setShared(nullptr);
  }
  // Drops every reference to the open store and opens its file again, so what follows reads
  // what was written.
  void reopen() {
    Injector::reset();
    context.reset();
    store.reset();
    ManagedObjectStore::resetSharedInstance();
    store = ManagedObjectStore::initWithModelName(ManagedObjectStore::modelName);
    ASSERT_NE(store, nullptr);
    ASSERT_FALSE(store->isInMemory());
    context = store->persistentStoreManagedObjectContext();
    installProfileStoreServices(store, *Injector::defaultInjector(), units, context);
  }

  // Maps `json` (under `keyPath`) with `className`'s response mapping and saves; on the
  // context's queue. The result also tells what was skipped.
  MappingResult mapReporting(const std::string& className, const std::string& json,
                             const std::string& keyPath = "") {
    auto mapping =
        ModelMapper::shared()->responseMappingForClass(*RecordClasses::classNamed(className));
    ManagedObjectDestination destination(*context);
    auto result = MappingOperation(destination).map(std::string_view(json), keyPath, mapping);
    context->save();
    return result;
  }
  std::vector<ManagedObject*> map(const std::string& className, const std::string& json,
                                  const std::string& keyPath = "") {
    return ManagedObjectDestination::objects(mapReporting(className, json, keyPath).objects);
  }
  std::vector<ManagedObject*> all(const char* entity, const char* sortKey = "entityID") {
    FetchRequest request(context->model().entityNamed(entity));
    request.sortDescriptors = {{sortKey, true}};
    return context->executeFetchRequest(request);
  }
  template <class T>
  T* insert() {
    return dynamic_cast<T*>(context->insertNewObject(T::kEntityName));
  }
  template <class F>
  void perform(F&& block) {
    context->performAndWait(std::forward<F>(block));
  }

  TempDir dir;
  std::shared_ptr<ManagedObjectStore> store;
  std::shared_ptr<ManagedObjectContext> context;
  std::shared_ptr<SettingsStore> prefs = SettingsStore::inMemory();
  UnitsHelper units{prefs};
};

}  // namespace dm::test
