// A country the user can live in, with its cities; the first by weight then name decides the
// default units.
#pragma once

#include <optional>
#include <string>

#include "Models/KorvaloEntities.h"

namespace dm {

class ManagedObjectContext;

// Threads and ownership as ManagedObject. Generated accessors: name, iso, weight, cities.
class CountryEntity : public CountryEntityGenerated {
 public:
  // The first country sorted by "weight,name" in `context` (on its queue); nullptr when there
  // is none or the fetch fails (logged). Owned by the context.
  static CountryEntity* firstByWeight(ManagedObjectContext& context);

  class Class : public BaseUUIDEntity::Class {
   public:
    using BaseUUIDEntity::Class::Class;
    RelationshipDictionary relationshipMappings() const override {
      return {{"cities", "CityEntity"}};
    }
    std::optional<std::string> rootKeyPath() const override { return "country"; }
    std::optional<std::string> pluralRootKeyPath() const override { return "countries"; }
  };
};

}  // namespace dm
