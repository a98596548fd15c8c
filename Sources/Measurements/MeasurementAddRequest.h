// A new body measurement for the server: values metric, photos as their upload trees.
#pragma once

#include <memory>
#include <string>
#include <vector>

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
  // Values as the user entered them, in the current units, stored metric: a weight in the
  // weight unit to kilograms; the height or a girth (`field`, e.g. "waist") in the length
  // unit to centimetres.
  void setWeightInUnits(double weight);
  void setLengthInUnits(const std::string& field, double length);
  // An independent copy: every field (local ones too) and copies of the photo requests.
  std::shared_ptr<MeasurementAddRequest> createCopy() const;
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
