// The base of transient records that carry the client identifier `guid` (mapped to "guid").
#pragma once

#include <string>

#include "Mapping/Records/BaseMappableObject.h"

namespace dm {

// Same threading as BaseMappableObject.
class BaseUUIDObject : public BaseMappableObject {
  DM_RECORD_OBJECT(BaseUUIDObject)

 public:
  // "" when absent.
  std::string guid() const { return stringForKey("guid"); }
  void setGuid(std::string guid);

  class Class : public BaseMappableObject::Class {
   public:
    using BaseMappableObject::Class::Class;
    std::vector<PropertyDeclaration> declaredProperties() const override;
    // The superclass's mapping with guid -> "guid".
    MappingDictionary attributeMappings() const override;
  };
};

}  // namespace dm
