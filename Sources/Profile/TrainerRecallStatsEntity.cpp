// Trainer recall statistics records.
#include "Profile/TrainerRecallStatsEntity.h"

namespace dm {
namespace {
const EntityClassRegistration<TrainerRecallStatsEntity> kRegistration("TrainerRecallStatsEntity",
                                                                      "BaseUUIDEntity");
}  // namespace
}  // namespace dm
