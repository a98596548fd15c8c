// City records.
#include "Profile/CityEntity.h"

namespace dm {
namespace {
const EntityClassRegistration<CityEntity> kRegistration("CityEntity", "BaseUUIDEntity");
}  // namespace
}  // namespace dm
