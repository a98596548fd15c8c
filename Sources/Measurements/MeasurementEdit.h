// A stored measurement edited on the device: values as the user enters them, in the current
// units, stored metric, the record marked changed so the outbox sends it again.
#pragma once

#include <string>

namespace dm {

class MeasurementEntity;

// Sets `field` of `measurement` from `valueInUnits`: "weight" in the weight unit (to
// kilograms), "height" and the girths (MeasurementAddRequest::girthFields) in the length unit
// (to centimetres), "bodyFatPercentage" in percent. 0 empties the value. Marks the record
// changed on the device. Throws Error InvalidInput for another field or a negative or
// non-finite value, changing nothing. Use on the record's context queue; the caller saves.
void editMeasurementInUnits(MeasurementEntity& measurement, const std::string& field,
                            double valueInUnits);

}  // namespace dm
