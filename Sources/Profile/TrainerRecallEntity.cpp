// Trainer recall records.
#include "Profile/TrainerRecallEntity.h"

#include "Platform/Foundation/Clock.h"

namespace dm {

void TrainerRecallEntity::markUsed() {
  setLastUsed(Clock::shared()->now());
}

void TrainerRecallEntity::awakeFromInsert() {
  TrainerRecallEntityGenerated::awakeFromInsert();
  markUsed();
}

void TrainerRecallEntity::awakeFromFetch() {
  TrainerRecallEntityGenerated::awakeFromFetch();
  markUsed();
}

}  // namespace dm
