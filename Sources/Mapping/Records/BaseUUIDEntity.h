// The base of stored records that the client can create before the server knows them: a
// client identifier `guid`, the status code `entityStatusString` (mapped to "status") with
// its typed view, and the device-only sync state.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Mapping/EntityStatus.h"
#include "Mapping/Records/BaseMappableEntity.h"

namespace dm {

// Same threads and ownership as ManagedObject.
class BaseUUIDEntity : public BaseMappableEntity {
 public:
  // "" when absent.
  std::string guid() const;
  void setGuid(std::string guid);

  // The server's status code; "" when absent (no status).
  std::string entityStatusString() const;
  void setEntityStatusString(std::string code);
  // The status whose code is entityStatusString; EntityStatus::None for an empty or unknown
  // code.
  EntityStatus entityStatus() const;
  // Stores the status's code into entityStatusString.
  void setEntityStatus(EntityStatus status);

  // Device-only synchronisation state; nothing when unset. Not part of any mapping.
  std::optional<std::int64_t> entitySyncState() const;
  void setEntitySyncState(std::optional<std::int64_t> state);

  class Class : public BaseMappableEntity::Class {
   public:
    using BaseMappableEntity::Class::Class;
    // The superclass's mapping with entityStatusString -> "status", without the device-only
    // entitySyncState.
    MappingDictionary attributeMappings() const override;
  };
};

}  // namespace dm
