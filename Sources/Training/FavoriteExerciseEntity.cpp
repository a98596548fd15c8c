// The list of favourite exercises.
#include "Training/FavoriteExerciseEntity.h"

#include "Platform/ObjectStore/FetchRequest.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"

namespace dm {

std::vector<FavoriteExerciseEntity*> FavoriteExerciseEntity::allEntities(
    ManagedObjectContext& context) {
  FetchRequest request(context.model().entityNamed(kEntityName));
  request.sortDescriptors = {{"position", true}, {"entityID", true}};
  std::vector<FavoriteExerciseEntity*> favourites;
  for (auto* object : context.executeFetchRequest(request))
    if (auto* favourite = dynamic_cast<FavoriteExerciseEntity*>(object))
      favourites.push_back(favourite);
  return favourites;
}

}  // namespace dm
