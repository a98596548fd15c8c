// UnitsHelper's picker ranges for weight, height and age, in the user's units and in metric.
#include "Units/UnitsHelper.h"
#include "Units/UnitsNumerics.h"

namespace dm {

UnitRange UnitsHelper::makeRangeMax(double min, double max) {
  return {units_detail::truncateToUnsigned(min), units_detail::truncateToUnsigned(max - min)};
}

UnitRange UnitsHelper::weightRange() {
  if (weightUnits() == WeightUnitsTypeKilograms) return makeRangeMax(35, 180);
  return makeRangeMax(75, 400);  // pounds
}

UnitRange UnitsHelper::weightRangeInC() {
  const UnitRange range = weightRange();
  if (weightUnits() == WeightUnitsTypeKilograms) return range;
  return makeRangeMax(weightToKG(static_cast<double>(range.location)),
                      weightToKG(static_cast<double>(range.location + range.length)));
}

UnitRange UnitsHelper::heightRange() {
  if (heightUnits() == HeightUnitsTypeCentimetres) return makeRangeMax(120, 230);
  return makeRangeMax(4, 8);  // whole feet
}

UnitRange UnitsHelper::heightRangeInC() {
  const UnitRange range = heightRange();
  if (heightUnits() == HeightUnitsTypeCentimetres) return range;
  return makeRangeMax(heightToCMFootsInches(static_cast<double>(range.location), 0),
                      heightToCMFootsInches(static_cast<double>(range.location + range.length), 0));
}

UnitRange UnitsHelper::ageRange() {
  return makeRangeMax(12, 100);
}

}  // namespace dm
