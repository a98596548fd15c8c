// Editing a stored measurement in the user's units.
#include "Measurements/MeasurementEdit.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "Mapping/Records/EntitySyncState.h"
#include "Measurements/MeasurementAddRequest.h"
#include "Measurements/MeasurementEntity.h"
#include "Platform/Foundation/Error.h"
#include "Units/UnitsHelper.h"

namespace dm {

void editMeasurementInUnits(MeasurementEntity& measurement, const std::string& field,
                            double valueInUnits) {
  if (!std::isfinite(valueInUnits) || valueInUnits < 0)
    throw Error(ErrorCode::InvalidInput, "a measurement value is a number of 0 or more");
  double metric = 0;
  if (field == "weight") {
    metric = UnitsHelper::weightToKG(valueInUnits);
  } else if (field == "bodyFatPercentage") {
    if (valueInUnits > 100)
      throw Error(ErrorCode::InvalidInput, "body fat is a percentage from 0 to 100");
    metric = valueInUnits;
  } else {
    const auto& girths = MeasurementAddRequest::girthFields();
    if (field != "height" && std::find(girths.begin(), girths.end(), field) == girths.end())
      throw Error(ErrorCode::InvalidInput, "\"" + field + "\" is not a value of a measurement");
    metric = UnitsHelper::heightToCM(valueInUnits);
  }
  measurement.setValueForKey(field, Value(metric));
  markChangedOnDevice(measurement);
}

}  // namespace dm
