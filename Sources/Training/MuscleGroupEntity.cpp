// Period lookup and rows of the muscle groups statistic.
#include "Training/MuscleGroupEntity.h"

#include "Platform/ObjectStore/FetchRequest.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"

namespace dm {

MuscleGroupEntity* MuscleGroupEntity::entity(ManagedObjectContext& context,
                                             const std::string& periodCode) {
  FetchRequest request(context.model().entityNamed(kEntityName));
  request.predicate = Predicate::keyEquals("typeString", Value(periodCode));
  request.fetchLimit = 1;
  auto found = context.executeFetchRequest(request);
  return found.empty() ? nullptr : dynamic_cast<MuscleGroupEntity*>(found.front());
}

nlohmann::json MuscleGroupEntity::dictsArray() const {
  auto rows = values();
  return rows.is_array() ? rows : nlohmann::json::array();
}

}  // namespace dm
