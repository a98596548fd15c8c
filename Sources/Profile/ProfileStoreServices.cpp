// The main store seen as the record layer's RecordStore, and the services installed with it.
#include "Profile/ProfileStoreServices.h"

#include "Mapping/Records/RecordStore.h"
#include "Platform/Foundation/Injector.h"
#include "Profile/StoreCountrySource.h"
#include "Units/UnitsHelper.h"
#include "UserData/CoreData/ManagedObjectStore.h"

namespace dm {

namespace {

class MainStoreRecords final : public RecordStore {
 public:
  MainStoreRecords(std::shared_ptr<ManagedObjectStore> store,
                   std::shared_ptr<ManagedObjectContext> context)
      : store_(std::move(store)), context_(std::move(context)) {}
  std::shared_ptr<const ManagedObjectModel> managedObjectModel() const override {
    return store_->managedObjectModel();
  }
  std::shared_ptr<ManagedObjectContext> defaultContext() const override { return context_; }

 private:
  std::shared_ptr<ManagedObjectStore> store_;
  std::shared_ptr<ManagedObjectContext> context_;
};

}  // namespace

void installProfileStoreServices(const std::shared_ptr<ManagedObjectStore>& store,
                                 Injector& injector, UnitsHelper& units,
                                 std::shared_ptr<ManagedObjectContext> defaultContext) {
  if (!store) return;
  if (!defaultContext) defaultContext = store->mainQueueManagedObjectContext();
  auto records = std::make_shared<MainStoreRecords>(store, std::move(defaultContext));
  injector.registerProvider<RecordStore>("objectStore", [records](Injector&) {
    return std::static_pointer_cast<RecordStore>(records);
  });
  units.setCountrySource(std::make_shared<StoreCountrySource>(store));
}

void installProfileStoreServices(const std::shared_ptr<ManagedObjectStore>& store,
                                 std::shared_ptr<ManagedObjectContext> defaultContext) {
  installProfileStoreServices(store, *Injector::defaultInjector(), UnitsHelper::sharedInstance(),
                              std::move(defaultContext));
}

}  // namespace dm
