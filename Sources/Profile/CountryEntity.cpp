// Country records and the ordered lookup of the user's country.
#include "Profile/CountryEntity.h"

#include <exception>

#include "Platform/Foundation/Logger.h"
#include "Platform/ObjectStore/FetchRequest.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"

namespace dm {

CountryEntity* CountryEntity::firstByWeight(ManagedObjectContext& context) {
  try {
    const EntityDescription* entity = context.model().entityNamed(kEntityName);
    if (!entity) return nullptr;
    FetchRequest request(entity);
    request.sortDescriptors = {{"weight", true}, {"name", true}};
    request.fetchLimit = 1;
    auto found = context.executeFetchRequest(request);
    return found.empty() ? nullptr : dynamic_cast<CountryEntity*>(found.front());
  } catch (const std::exception& error) {
    logWarning(std::string("CountryEntity: cannot read countries: ") + error.what());
    return nullptr;
  }
}

}  // namespace dm
