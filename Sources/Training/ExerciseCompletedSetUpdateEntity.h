// A pending correction of a completed set, keyed by the set's guid until it is sent.
#pragma once

#include "Training/ExerciseCompletedSetUpdateEntityGenerated.h"

namespace dm {

// Threads and ownership as ManagedObject.
class ExerciseCompletedSetUpdateEntity : public ExerciseCompletedSetUpdateEntityGenerated {
 public:
  // Deletes every correction with this guid in the record's context (not saved).
  void removeEntity();
};

}  // namespace dm
