// A handbook exercise the client marked as a favourite.
#pragma once

#include <cstdint>
#include <vector>

#include "Training/FavoriteExerciseEntityGenerated.h"

namespace dm {

// Threads and ownership as ManagedObject: use on the context's queue.
class FavoriteExerciseEntity : public FavoriteExerciseEntityGenerated {
 public:
  // The handbook post exercise id. Stored as favoritePostExerciseID: store columns ignore
  // letter case, and completed sets keep an exerciseId in the same table.
  std::int64_t exerciseID() const { return favoritePostExerciseID(); }
  void setExerciseID(std::int64_t id) { setFavoritePostExerciseID(id); }
  bool hasExerciseID() const { return hasFavoritePostExerciseID(); }

  // Every favourite in `context`, by position then entityID (the screen's order).
  static std::vector<FavoriteExerciseEntity*> allEntities(ManagedObjectContext& context);
};

}  // namespace dm
