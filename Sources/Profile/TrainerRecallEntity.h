// A client's recall (review) of a trainer, with its rating and author.
#pragma once

#include <optional>
#include <string>

#include "Profile/TrainerRecallEntityGenerated.h"

namespace dm {

// Threads and ownership as ManagedObject. Stored fields, typed accessors and class operations
// come from the store model (TrainerRecallEntityGenerated); this class adds the behaviour.
class TrainerRecallEntity : public TrainerRecallEntityGenerated {
 public:
  // Sets lastUsed to the shared clock's now. Callers that create or load recalls call it, so
  // the device can drop recalls nobody has looked at for long.
  void markUsed();
};

}  // namespace dm
