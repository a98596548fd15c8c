// A new body measurement for the server: values metric, photos as their upload trees.
#pragma once

#include "Measurements/MeasurementAddRequestGenerated.h"

namespace dm {

class MeasurementEntity;

// One thread at a time per instance, held by std::shared_ptr (see BaseMappableObject).
// Fill it on the measurement's context queue.
class MeasurementAddRequest : public MeasurementAddRequestGenerated {
  DM_RECORD_OBJECT(MeasurementAddRequest)

 public:
  // The twelve left/right girths and the five single ones, by field name.
  static const std::vector<std::string>& girthFields();

  // Copies a stored measurement (nothing for nullptr): weight, height and daily load as they
  // are; girths, body fat and the trainer's id with empty values (0, "") left out; its photos
  // as upload requests; the date unless this request has one. Mission and trainer name stay.
  void fillDataWith(const MeasurementEntity* measurement);
  // Rebuilds serializedPhotos from photos: each photo's upload tree, in order.
  void serializePhotos();
  // The same values, dates on the same calendar day, the same photos by address and status.
  bool isEqual(const MeasurementAddRequest& other) const;
};

// Both dates on the same local calendar day (or both absent).
bool isDatesEqual(const RecordValue& lhs, const RecordValue& rhs);
// The same number of photos with, position by position, the same address and status.
bool arePhotoEntityArraysEqual(const RecordValue& lhs, const RecordValue& rhs);
// A stored measurement's photos as upload requests (id, order, status and address).
RecordValue photoRequestsOf(const MeasurementEntity& measurement);

}  // namespace dm
