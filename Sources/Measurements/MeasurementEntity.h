// One body measurement of a client with its ordered progress photos.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "Measurements/MeasurementEntityGenerated.h"
#include "Platform/ObjectStore/Value.h"

namespace dm {

class ManagedObjectContext;
class ProfileCommonPhotoEntity;

// Threads and ownership as ManagedObject: use on the owning context's queue.
class MeasurementEntity : public MeasurementEntityGenerated {
 public:
  // The first stored measurement with this identifier in `context` (on its queue); nullptr
  // when there is none or the store cannot be read.
  static MeasurementEntity* entity(ManagedObjectContext& context, std::int64_t identifier);
  // The photos of this measurement not marked deleted, by sequence.
  std::vector<ProfileCommonPhotoEntity*> photosOrdered() const;
  // True when the value at `keyPath` is absent, an empty text or a number equal to 0.
  bool isEmptyValueForKey(std::string_view keyPath) const;
};

// The same rule for a value: absent, an empty text, or a number equal to 0.
bool isEmptyMeasurementValue(const Value& value);

}  // namespace dm
