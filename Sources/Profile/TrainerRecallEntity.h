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
  // Sets lastUsed to the shared clock's now. Callers that create or load recalls call it, so
  // the device can drop recalls nobody has looked at for long.
  void markUsed();

  class Class : public BaseUUIDEntity::Class {
   public:
    using BaseUUIDEntity::Class::Class;
    RelationshipDictionary relationshipMappings() const override {
      return {{"user", "UserEntity"}};
    }
    std::optional<std::string> rootKeyPath() const override { return "recalls"; }
  };
};

}  // namespace dm
