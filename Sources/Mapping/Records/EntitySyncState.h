// What the server still has to learn about a record changed on this device: its
// `entitySyncState`, device-only and never mapped, set by the operations that change records
// on the device and cleared when the server's acknowledgement is mapped back.
#pragma once

#include <cstdint>

#include "Mapping/Records/BaseMappableEntity.h"

namespace dm {

// The stored values are part of the file format: never renumber them.
enum class EntitySyncState : std::int16_t {
  Synced = 0,           // the server holds the record as it is stored here
  CreatedOnDevice = 1,  // recorded here; the server has not confirmed it yet
  ChangedOnDevice = 2,  // changed here since it was recorded or confirmed
  RemovalPending = 3,   // removed here; the server is still to be told (when it knows it)
};

// Whether the server has confirmed the record (it gave it an entityID).
bool isKnownToServer(const BaseMappableEntity& record);

// The record's state. A record without one (saved before states were kept, or mapped from a
// device-side file) reads as created on the device while it has no entityID, else synced.
// A record whose entity has no `entitySyncState` attribute reads the same way.
EntitySyncState syncStateOf(const BaseMappableEntity& record);

// The device-side operations: recorded here; changed here (a removal pending stays so);
// removed here. Records whose entity lacks the attribute are left as they are.
void markCreatedOnDevice(BaseMappableEntity& record);
void markChangedOnDevice(BaseMappableEntity& record);
void markRemovalPending(BaseMappableEntity& record);

// The acknowledgement mapping: the server confirmed the record's creation (call it after
// storing the server's entityID through the record's own setter). A record changed since it
// was recorded stays changed: the creation may have carried older values, so an update with
// the current ones follows; a removal pending stays pending.
void confirmCreation(BaseMappableEntity& record);
// The server confirmed the changes it was sent: the record is synced again (still created on
// the device when its creation is not confirmed yet).
void confirmChanges(BaseMappableEntity& record);

// What the outbox sends for a record, from its state and whether the server knows it:
// a creation (never confirmed, not removed), an update (confirmed and changed here), a removal
// (confirmed and removed here; a removal of a record the server never saw sends nothing).
bool needsCreation(const BaseMappableEntity& record);
bool needsUpdate(const BaseMappableEntity& record);
bool needsRemoval(const BaseMappableEntity& record);

}  // namespace dm
