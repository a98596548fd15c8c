// Changes of a stored measurement, which it names by id.
#pragma once

#include <memory>

#include "Measurements/MeasurementUpdateRequestGenerated.h"

namespace dm {

// One thread at a time per instance, held by std::shared_ptr (see BaseMappableObject).
class MeasurementUpdateRequest : public MeasurementUpdateRequestGenerated {
  DM_RECORD_OBJECT(MeasurementUpdateRequest)

 public:
  // Every value of `measurement` as it is (no empty-value rule), its id as measurementID, its
  // trainer's id and its photos; remembers the record. Use on the record's context queue.
  static std::shared_ptr<MeasurementUpdateRequest> requestWithEntity(
      const MeasurementEntity& measurement);
  // The measurement this request was built from; owned by its context, nullptr when none.
  const MeasurementEntity* entity() const { return entity_; }
  // A field-by-field copy (as createCopy), the remembered record included.
  std::shared_ptr<MeasurementUpdateRequest> copyWithEntity() const;

 private:
  const MeasurementEntity* entity_ = nullptr;
};

}  // namespace dm
