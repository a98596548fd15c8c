// Trainer service records and their typed service kind.
#include "Profile/TrainerServiceEntity.h"

namespace dm {

namespace {
const EntityClassRegistration<TrainerServiceEntity> kRegistration("TrainerServiceEntity",
                                                                  "BaseUUIDEntity");
}  // namespace

std::optional<ServiceType> TrainerServiceEntity::serviceType() const {
  return ServiceTypeMappings().enumForCode<ServiceType>(serviceTypeString());
}

void TrainerServiceEntity::setServiceType(ServiceType type) {
  if (auto code = ServiceTypeMappings().codeForEnum(type)) setServiceTypeString(*code);
}

}  // namespace dm
