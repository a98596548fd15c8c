// Connects the profile records to a running main store: the record layer's "objectStore"
// and the store-backed country source of UnitsHelper.
#pragma once

#include <memory>

namespace dm {

class Injector;
class ManagedObjectContext;
class ManagedObjectStore;
class UnitsHelper;

// Call once after the main store is created (the host after ManagedObjectStore::initialize,
// dmctl when it opens the store), before mapping payloads or reading unit defaults:
// - provides `store` itself to `injector` as the "objectStore" MappingStore and, when
//   `defaultContext` is given, makes it the store's context of class operations (otherwise
//   the store keeps its own, by default the main-queue context);
// - installs a StoreCountrySource over `store` into `units`.
// Does nothing for a null store. Any thread, but not while other threads map or read units.
void installProfileStoreServices(const std::shared_ptr<ManagedObjectStore>& store,
                                 Injector& injector, UnitsHelper& units,
                                 std::shared_ptr<ManagedObjectContext> defaultContext = nullptr);
// The same with the default injector and the shared UnitsHelper.
void installProfileStoreServices(const std::shared_ptr<ManagedObjectStore>& store,
                                 std::shared_ptr<ManagedObjectContext> defaultContext = nullptr);

}  // namespace dm
