// The process-wide per-class caches.
#include "Mapping/Records/RecordClassCaches.h"

namespace dm {

ClassCache<std::string>& RecordClassCaches::entityNames() {
  static ClassCache<std::string> cache;
  return cache;
}

ClassCache<MappingDictionary>& RecordClassCaches::entityAttributeMappings() {
  static ClassCache<MappingDictionary> cache;
  return cache;
}

ClassCache<RelationshipDictionary>& RecordClassCaches::entityRelationshipMappings() {
  static ClassCache<RelationshipDictionary> cache;
  return cache;
}

ClassCache<MappingDictionary>& RecordClassCaches::objectAttributeMappings() {
  static ClassCache<MappingDictionary> cache;
  return cache;
}

}  // namespace dm
