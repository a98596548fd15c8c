// A client's recall (review) of a trainer, with its rating and author.
#pragma once

#include <optional>
#include <string>

#include "Models/KorvaloEntities.h"

namespace dm {

// Threads and ownership as ManagedObject. Generated accessors: number, rating, text,
// createdAt, updatedAt, trainerID, lastUsed, user.
class TrainerRecallEntity : public TrainerRecallEntityGenerated {
 public:
  // Sets lastUsed to the shared clock's now, so the device can drop recalls nobody has looked
  // at for long. Runs whenever a recall is created or loaded from the store.
  void markUsed();

  class Class : public BaseUUIDEntity::Class {
   public:
    using BaseUUIDEntity::Class::Class;
    RelationshipDictionary relationshipMappings() const override {
      return {{"user", "UserEntity"}};
    }
    std::optional<std::string> rootKeyPath() const override { return "recalls"; }
  };

 protected:
  void awakeFromInsert() override;
  // The time is kept in memory; it reaches the file with the recall's next save.
  void awakeFromFetch() override;
};

}  // namespace dm
