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
  // Sets lastUsed to the shared clock's now, so the device can drop recalls nobody has looked
  // at for long. Runs whenever a recall is created or loaded from the store.
  void markUsed();

 protected:
  void awakeFromInsert() override;
  // The time is kept in memory; it reaches the file with the recall's next save.
  void awakeFromFetch() override;
};

}  // namespace dm
