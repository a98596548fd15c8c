// Opening a store for the record layer outside the application's main store.
#include "Mapping/Records/RecordStore.h"

namespace dm {

std::shared_ptr<PersistentRecordStore> PersistentRecordStore::open(
    std::shared_ptr<const ManagedObjectModel> model, StoreType type, const std::string& path) {
  auto store = PersistentStore::open(std::move(model), type, path);
  auto context = ManagedObjectContext::createRoot(store, ConcurrencyType::PrivateQueue, "records");
  return std::make_shared<PersistentRecordStore>(std::move(store), std::move(context));
}

}  // namespace dm
