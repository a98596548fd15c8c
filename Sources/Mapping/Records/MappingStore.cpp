// Opening a store for the record layer outside the application's main store.
#include "Mapping/Records/MappingStore.h"

namespace dm {
std::shared_ptr<PersistentMappingStore> PersistentMappingStore::open(
    std::shared_ptr<const ManagedObjectModel> model, StoreType type, const std::string& path) {
  auto store = PersistentStore::open(std::move(model), type, path);
  auto context = ManagedObjectContext::createRoot(store, ConcurrencyType::PrivateQueue, "records");
  return std::make_shared<PersistentMappingStore>(std::move(store), std::move(context));
}

}  // namespace dm
