// A pending removal of a completed set, keyed by the set's guid until it is sent.
#pragma once

#include "Training/ExerciseCompletedSetDeleteEntityGenerated.h"

namespace dm {

class ExerciseCompletedSetEntity;

// Threads and ownership as ManagedObject.
class ExerciseCompletedSetDeleteEntity : public ExerciseCompletedSetDeleteEntityGenerated {
 public:
  // The completed set with this guid, if it is in the context.
  ExerciseCompletedSetEntity* normalEntity() const;
  // The server id of the removed set: own entityID, else the set's, else 0.
  std::int64_t updatedEntityID() const;
  // Deletes every removal with this guid in the record's context (not saved).
  void removeEntity();
};

}  // namespace dm
