// Payment details lookups.
#include "Finance/PaymentDetailsEntity.h"

#include <exception>
#include <string>

#include "Platform/Foundation/Logger.h"
#include "Platform/ObjectStore/ObjectStoreHelpers.h"

namespace dm {

PaymentDetailsEntity* PaymentDetailsEntity::method(ManagedObjectContext& context) {
  try {
    return dynamic_cast<PaymentDetailsEntity*>(
        ObjectStoreHelpers::findFirst(context, kEntityName, std::nullopt, "entityID"));
  } catch (const std::exception& error) {
    logWarning(std::string("PaymentDetailsEntity: cannot read payment details: ") + error.what());
    return nullptr;
  }
}

std::vector<PaymentDetailsEntity*> PaymentDetailsEntity::getAllTempEnitities(
    ManagedObjectContext& context) {
  std::vector<PaymentDetailsEntity*> out;
  try {
    auto unsent = Predicate::parse("%K == 0", {Value(std::string("entityID"))});
    for (ManagedObject* object :
         ObjectStoreHelpers::findAllSorted(context, kEntityName, "guid", true, unsent)) {
      if (auto* details = dynamic_cast<PaymentDetailsEntity*>(object)) out.push_back(details);
    }
  } catch (const std::exception& error) {
    logWarning(std::string("PaymentDetailsEntity: cannot read unsent details: ") + error.what());
  }
  return out;
}

}  // namespace dm
