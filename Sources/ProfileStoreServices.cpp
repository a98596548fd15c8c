// The services installed with a running main store: its "objectStore" provider for the
// record layer and the store-backed country source of UnitsHelper.
#include "ProfileStoreServices.h"

#include "Platform/Foundation/Injector.h"
#include "Units/StoreCountrySource.h"
#include "Units/UnitsHelper.h"
#include "UserData/CoreData/ManagedObjectStore.h"

namespace dm {

void installProfileStoreServices(const std::shared_ptr<ManagedObjectStore>& store,
                                 Injector& injector, UnitsHelper& units,
                                 std::shared_ptr<ManagedObjectContext> defaultContext) {
  if (!store) return;
  if (defaultContext) store->setDefaultContext(std::move(defaultContext));
  ManagedObjectStore::provideAsObjectStore(injector, store);
  units.setCountrySource(std::make_shared<StoreCountrySource>(store));
}

void installProfileStoreServices(const std::shared_ptr<ManagedObjectStore>& store,
                                 std::shared_ptr<ManagedObjectContext> defaultContext) {
  installProfileStoreServices(store, *Injector::defaultInjector(), UnitsHelper::sharedInstance(),
                              std::move(defaultContext));
}

}  // namespace dm
