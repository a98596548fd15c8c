// A city of a country.
#pragma once

#include <optional>
#include <string>

#include "Models/KorvaloEntities.h"

namespace dm {

// Threads and ownership as ManagedObject. Generated accessors: name, countryId, weight.
class CityEntity : public CityEntityGenerated {
 public:
  class Class : public BaseUUIDEntity::Class {
   public:
    using BaseUUIDEntity::Class::Class;
    std::optional<std::string> rootKeyPath() const override { return "city"; }
    std::optional<std::string> pluralRootKeyPath() const override { return "cities"; }
  };
};

}  // namespace dm
