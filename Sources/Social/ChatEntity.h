// One conversation; its update time follows the last message (or its creation).
#pragma once

#include "Social/ChatEntityGenerated.h"

namespace dm {

// Threads and ownership as ManagedObject. Stored fields and class operations come from the
// store model (ChatEntityGenerated); this class keeps updatedAt current.
class ChatEntity : public ChatEntityGenerated {
 public:
  // Sets updatedAt to the last message's time, or to createdAt when there is no last message
  // or it has no time; nothing when neither is known.
  void updateUpdatedAt();

 protected:
  void awakeFromInsert() override;
  void willSave() override;
};

}  // namespace dm
