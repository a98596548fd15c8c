// The recall statistics of one trainer, delivered inside the trainer's user object.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Models/KorvaloEntities.h"

namespace dm {

// Threads and ownership as ManagedObject. Generated accessors: average, byRating,
// totalRecalls, userID, user.
class TrainerRecallStatsEntity : public TrainerRecallStatsEntityGenerated {
 public:
  class Class : public BaseUUIDEntity::Class {
   public:
    using BaseUUIDEntity::Class::Class;
    // The stats carry no identifier of their own: they belong to the enclosing user, whose
    // "id" fills userID, and there is one record per user.
    MappingDictionary attributeMappings() const override {
      auto mapping = BaseUUIDEntity::Class::attributeMappings();
      mapping["userID"] = "@parent.id";
      return mapping;
    }
    std::optional<std::vector<std::string>> identificationAttributes() const override {
      return std::vector<std::string>{"userID"};
    }
    std::optional<std::string> rootKeyPath() const override { return "stats"; }
  };
};

}  // namespace dm
