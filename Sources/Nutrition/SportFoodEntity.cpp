// Sport-food queries and handbook lookup.
#include "Nutrition/SportFoodEntity.h"

#include "Handbook/Adapter/HandbookAdapter.h"

namespace dm {

FetchRequest SportFoodEntity::fetchRequest(const ManagedObjectModel& model) {
  return FetchRequest(model.entityNamed("SportFood"));
}

HandbookPostSportFoodEntity* SportFoodEntity::handbookPost() const {
  if (!hasPost_sport_food_id()) return nullptr;
  return HandbookAdapter::shared().getPostSportFoodEntity(post_sport_food_id());
}

}  // namespace dm
