// Trainer specialisation records.
#include "Profile/TrainerSpecEntity.h"

namespace dm {
namespace {
const EntityClassRegistration<TrainerSpecEntity> kRegistration("TrainerSpecEntity",
                                                               "BaseUUIDEntity");
}  // namespace
}  // namespace dm
