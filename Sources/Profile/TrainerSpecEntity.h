// A trainer's specialisation (strength, yoga, ...).
#pragma once

#include <optional>
#include <string>

#include "Models/KorvaloEntities.h"

namespace dm {

// Threads and ownership as ManagedObject. Generated accessor: name.
class TrainerSpecEntity : public TrainerSpecEntityGenerated {
 public:
  class Class : public BaseUUIDEntity::Class {
   public:
    using BaseUUIDEntity::Class::Class;
    std::optional<std::string> rootKeyPath() const override { return "specializations"; }
  };
};

}  // namespace dm
