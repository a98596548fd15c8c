// A pending correction of a workout result, keyed by the result's guid until it is sent.
#pragma once

#include "Training/WorkoutResultsUpdateEntityGenerated.h"

namespace dm {

class WorkoutResultsEntity;

// Threads and ownership as ManagedObject.
class WorkoutResultsUpdateEntity : public WorkoutResultsUpdateEntityGenerated {
 public:
  void fillFromWorkoutResults(const WorkoutResultsEntity& result);
  // Deletes every correction with this guid in the record's context (not saved).
  void removeEntity();
};

}  // namespace dm
