// Identifiers of stored objects: temporary until the first save, then the entity and the
// row's primary key.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "Platform/ObjectStore/ManagedObjectModel.h"

namespace dm {

// A value type; copy freely between contexts and threads. Two permanent identifiers are
// equal when they name the same row of the same table (the hierarchy's root entity), so
// an identifier made with a base entity finds an object of any sub-entity.
struct ObjectID {
  const EntityDescription* entity = nullptr;
  std::int64_t key = 0;
  bool temporary = false;

  bool isNull() const { return entity == nullptr; }
  bool isTemporaryID() const { return temporary; }
  // "Entity/p12" for a row, "Entity/t5" for a temporary identifier.
  std::string uriRepresentation() const {
    return (entity ? entity->name() : std::string("?")) + (temporary ? "/t" : "/p") +
           std::to_string(key);
  }
  friend bool operator==(const ObjectID& a, const ObjectID& b) {
    if (a.key != b.key || a.temporary != b.temporary) return false;
    if (a.temporary) return true;  // temporary keys are unique in the process
    if (!a.entity || !b.entity) return a.entity == b.entity;
    return a.entity->rootEntity() == b.entity->rootEntity();
  }
};

struct ObjectIDHash {
  std::size_t operator()(const ObjectID& id) const {
    std::size_t h = std::hash<std::int64_t>()(id.key) * 31 + (id.temporary ? 1 : 0);
    if (!id.temporary && id.entity)
      h ^= std::hash<const void*>()(id.entity->rootEntity()) + 0x9e3779b97f4a7c15ull + (h << 6);
    return h;
  }
};

// Hash of attribute values that agrees with Value's equality (1 == 1.0 == true).
struct ValueHash {
  std::size_t operator()(const Value& v) const;
};

}  // namespace dm
