// Country lookup for UnitsHelper over the main store.
#include "Units/StoreCountrySource.h"

#include "Profile/CountryEntity.h"
#include "UserData/CoreData/ManagedObjectStore.h"

namespace dm {

StoreCountrySource::StoreCountrySource(std::shared_ptr<ManagedObjectStore> store)
    : store_(store), followsShared_(!store) {}

std::optional<std::string> StoreCountrySource::firstCountryIso() const {
  auto store = followsShared_ ? ManagedObjectStore::sharedInstance() : store_.lock();
  if (!store) return std::nullopt;
  auto context = store->newPrivateQueueContext("country-source");
  if (!context) return std::nullopt;
  std::optional<std::string> iso;
  context->performAndWait([&] {
    if (auto* country = CountryEntity::firstByWeight(*context)) {
      if (country->hasIso() && !country->iso().empty()) iso = country->iso();
    }
  });
  return iso;
}

}  // namespace dm
