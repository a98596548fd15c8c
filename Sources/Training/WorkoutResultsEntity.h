// A workout as a whole, recorded on the device under a guid; corrections of its steps,
// calories and heart rate are pending records with the same guid, seen through real.../updated...
#pragma once

#include <optional>
#include <vector>

#include "Training/WorkoutResultsEntityGenerated.h"

namespace dm {

class WorkoutResultsUpdateEntity;

// Threads and ownership as ManagedObject.
class WorkoutResultsEntity : public WorkoutResultsEntityGenerated {
 public:
  // Seconds from start to end; 0 when negative or unknown.
  double duration() const;
  WorkoutResultsUpdateEntity* updateEntity() const;
  void removeAllUpdateEntities();
  std::optional<std::int64_t> updatedSteps() const;
  std::optional<std::int64_t> realHeartRateAverage() const;
  // The calorie rule over the best measured value and the calculated one; nothing unless
  // above 0.
  std::optional<double> realCalories() const;
  std::int64_t realPercentage() const;

  // Results not yet uploaded (entityID 0).
  static std::vector<WorkoutResultsEntity*> getAllTempEnitities(ManagedObjectContext& context);
  static WorkoutResultsEntity* entity(ManagedObjectContext& context, const std::string& guid);
};

}  // namespace dm
