// Measurement records.
#include "Measurements/MeasurementEntity.h"

#include <algorithm>
#include <exception>
#include <string>

#include "Mapping/EntityStatus.h"
#include "Platform/Foundation/Logger.h"
#include "Platform/ObjectStore/ObjectStoreHelpers.h"
#include "Profile/ProfileCommonPhotoEntity.h"

namespace dm {

std::vector<ProfileCommonPhotoEntity*> MeasurementEntity::photosOrdered() const {
  std::vector<ProfileCommonPhotoEntity*> out;
  for (ProfileCommonPhotoEntity* photo : photos()) {
    if (!photo || photo->isDeleted()) continue;
    if (photo->entityStatusString() == EntityStatusMappings().codeForEnum(EntityStatus::Deleted))
      continue;
    out.push_back(photo);
  }
  std::stable_sort(out.begin(), out.end(),
                   [](auto* a, auto* b) { return a->sequence() < b->sequence(); });
  return out;
}

MeasurementEntity* MeasurementEntity::entity(ManagedObjectContext& context,
                                             std::int64_t identifier) {
  try {
    return dynamic_cast<MeasurementEntity*>(ObjectStoreHelpers::findFirst(
        context, kEntityName, Predicate::parse("entityID = %@", {Value(identifier)})));
  } catch (const std::exception& error) {
    logWarning(std::string("MeasurementEntity: cannot read measurement: ") + error.what());
    return nullptr;
  }
}

bool MeasurementEntity::isEmptyValueForKey(std::string_view keyPath) const {
  return isEmptyMeasurementValue(valueForKeyPath(keyPath));
}

bool isEmptyMeasurementValue(const Value& value) {
  if (value.isNull()) return true;
  if (value.isString()) return value.asString().empty();
  if (value.isDouble()) return value.asDouble() == 0;
  if (value.isInteger()) return value.asInt64() == 0;
  if (value.isBool()) return !value.asBool();
  return false;
}

}  // namespace dm
