// Device-side sync states of records: reading with the fallback for records without one, the
// transitions of the device-side operations and of the acknowledgements.
#include "Mapping/Records/EntitySyncState.h"

namespace dm {
namespace {

constexpr const char* kSyncStateKey = "entitySyncState";

bool hasSyncState(const BaseMappableEntity& record) {
  return record.entity().attributeIndex(kSyncStateKey) >= 0;
}

void store(BaseMappableEntity& record, EntitySyncState state) {
  if (!hasSyncState(record)) return;
  record.setValueForKey(kSyncStateKey, Value(static_cast<long long>(state)));
}

}  // namespace

bool isKnownToServer(const BaseMappableEntity& record) {
  return record.hasEntityID() && record.entityID() != 0;
}

EntitySyncState syncStateOf(const BaseMappableEntity& record) {
  if (hasSyncState(record)) {
    const Value stored = record.valueForKey(kSyncStateKey);
    if (stored.isNumber()) {
      const auto value = stored.asInt64();
      if (value >= 0 && value <= static_cast<std::int64_t>(EntitySyncState::RemovalPending))
        return static_cast<EntitySyncState>(value);
    }
  }
  return isKnownToServer(record) ? EntitySyncState::Synced : EntitySyncState::CreatedOnDevice;
}

void markCreatedOnDevice(BaseMappableEntity& record) {
  store(record, EntitySyncState::CreatedOnDevice);
}

void markChangedOnDevice(BaseMappableEntity& record) {
  if (syncStateOf(record) != EntitySyncState::RemovalPending)
    store(record, EntitySyncState::ChangedOnDevice);
}

void markRemovalPending(BaseMappableEntity& record) {
  store(record, EntitySyncState::RemovalPending);
}

void confirmCreation(BaseMappableEntity& record) {
  const EntitySyncState state = syncStateOf(record);
  if (state == EntitySyncState::CreatedOnDevice || state == EntitySyncState::Synced)
    store(record, EntitySyncState::Synced);
}

void confirmChanges(BaseMappableEntity& record) {
  // Changes answered before the creation itself still leave the creation to confirm.
  if (syncStateOf(record) == EntitySyncState::ChangedOnDevice)
    store(record,
          isKnownToServer(record) ? EntitySyncState::Synced : EntitySyncState::CreatedOnDevice);
}

bool needsCreation(const BaseMappableEntity& record) {
  return !isKnownToServer(record) && syncStateOf(record) != EntitySyncState::RemovalPending;
}

bool needsUpdate(const BaseMappableEntity& record) {
  return isKnownToServer(record) && syncStateOf(record) == EntitySyncState::ChangedOnDevice;
}

bool needsRemoval(const BaseMappableEntity& record) {
  return isKnownToServer(record) && syncStateOf(record) == EntitySyncState::RemovalPending;
}

}  // namespace dm
