// Client-identified stored records: guid, status code and sync state.
#include "Mapping/Records/BaseUUIDEntity.h"

namespace dm {
namespace {

// Reads tolerate entities that lack the field (a record class mapped onto another model).
Value read(const ManagedObject& object, const char* key) {
  int index = object.entity().attributeIndex(key);
  return index < 0 ? Value() : object.valueAt(static_cast<std::size_t>(index));
}

}  // namespace

std::string BaseUUIDEntity::guid() const {
  return read(*this, "guid").asString();
}

void BaseUUIDEntity::setGuid(std::string guid) {
  setValueForKey("guid", Value(std::move(guid)));
}

std::string BaseUUIDEntity::entityStatusString() const {
  return read(*this, "entityStatusString").asString();
}

void BaseUUIDEntity::setEntityStatusString(std::string code) {
  setValueForKey("entityStatusString", code.empty() ? Value() : Value(std::move(code)));
}

EntityStatus BaseUUIDEntity::entityStatus() const {
  return entityStatusForCode(entityStatusString()).value_or(EntityStatus::None);
}

void BaseUUIDEntity::setEntityStatus(EntityStatus status) {
  setEntityStatusString(codeForEntityStatus(status).value_or(std::string()));
}

std::optional<std::int64_t> BaseUUIDEntity::entitySyncState() const {
  Value v = read(*this, "entitySyncState");
  if (v.isNull()) return std::nullopt;
  return v.asInt64();
}

void BaseUUIDEntity::setEntitySyncState(std::optional<std::int64_t> state) {
  setValueForKey("entitySyncState", state ? Value(static_cast<long long>(*state)) : Value());
}

MappingDictionary BaseUUIDEntity::Class::attributeMappings() const {
  MappingDictionary mapping = BaseMappableEntity::Class::attributeMappings();
  mapping["entityStatusString"] = "status";
  // Device-only: a payload must never overwrite it.
  mapping.erase("entitySyncState");
  return mapping;
}

}  // namespace dm
