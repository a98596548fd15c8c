// Conversation records.
#include "Social/ChatEntity.h"

#include <optional>

#include "Social/ChatMessageEntity.h"

namespace dm {

void ChatEntity::updateUpdatedAt() {
  std::optional<Date> latest;
  if (ChatMessageEntity* last = lastMessage(); last && last->hasTime()) latest = last->time();
  if (!latest && hasCreatedAt()) latest = createdAt();
  if (!latest) return;
  if (!hasUpdatedAt() || updatedAt().timeIntervalSince1970 != latest->timeIntervalSince1970) {
    setUpdatedAt(*latest);
  }
}

void ChatEntity::awakeFromInsert() {
  ChatEntityGenerated::awakeFromInsert();
  updateUpdatedAt();
}

void ChatEntity::willSave() {
  updateUpdatedAt();
  ChatEntityGenerated::willSave();
}

}  // namespace dm
