// Client-identified transient records.
#include "Mapping/Records/BaseUUIDObject.h"

namespace dm {
void BaseUUIDObject::setGuid(std::string guid) {
  setValueForKey("guid", guid.empty() ? RecordValue() : RecordValue(std::move(guid)));
}

std::vector<PropertyDeclaration> BaseUUIDObject::Class::declaredProperties() const {
  return {{"guid", PropertyKind::Object}};
}

MappingDictionary BaseUUIDObject::Class::attributeMappings() const {
  MappingDictionary mapping = BaseMappableObject::Class::attributeMappings();
  mapping["guid"] = "guid";
  return mapping;
}

}  // namespace dm
