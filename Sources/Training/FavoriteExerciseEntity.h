// A handbook exercise the client marked as a favourite.
#pragma once

#include <vector>

#include "Training/FavoriteExerciseEntityGenerated.h"

namespace dm {

// Threads and ownership as ManagedObject: use on the context's queue.
class FavoriteExerciseEntity : public FavoriteExerciseEntityGenerated {
 public:
  // Every favourite in `context`, by position then entityID (the screen's order).
  static std::vector<FavoriteExerciseEntity*> allEntities(ManagedObjectContext& context);
};

}  // namespace dm
