// UnitsHelper's rounding and conversions between the stored metric values and the user's units.
// Rounding is done in single precision with halves away from zero, as values have always been
// shown; changing either would move displayed numbers by a tenth at the ties.
#include <cmath>

#include "Units/UnitsHelper.h"
#include "Units/UnitsNumerics.h"

namespace dm {

namespace {

constexpr double kPoundsPerKilogram = 2.20462;
constexpr double kKilogramsPerPound = 0.453592;
constexpr double kInchesPerCentimetre = 0.393701;
constexpr double kCentimetresPerInch = 2.54;
constexpr double kCentimetresPerFoot = 30.48;
constexpr double kPoundsSnapAbove = 10;
constexpr std::uint64_t kPoundsStep = 5;
// Mass conversions pass through kilograms, as the platform's unit conversion did, so results
// match stored values to the last bit.
constexpr double kKilogramsPerGram = 0.001;
constexpr double kKilogramsPerOunce = 0.0283495;

}  // namespace

double UnitsHelper::RoundNearestEven(double value) {
  return static_cast<double>(std::round(static_cast<float>(value)));
}

double UnitsHelper::RoundNearest(double value) {
  const float tenths = static_cast<float>(value * 10.0);
  return static_cast<double>(std::round(tenths) / 10.0f);
}

double UnitsHelper::kgToLBS(double kilograms) {
  return RoundNearestEven(kilograms * kPoundsPerKilogram);
}

double UnitsHelper::kgToLBSWithTenth(double kilograms) {
  return RoundNearest(kilograms * kPoundsPerKilogram);
}

double UnitsHelper::kgToLBSForExercise(double kilograms) {
  const double pounds = RoundNearestEven(kilograms * kPoundsPerKilogram);
  if (pounds <= kPoundsSnapAbove) return pounds;
  const std::uint64_t whole = units_detail::truncateToUnsigned(pounds);
  const std::uint64_t steps = whole / kPoundsStep;
  const std::uint64_t remainder = whole - kPoundsStep * steps;
  // Remainders 3 and 4 go up to the next step; 0, 1 and 2 go down.
  return static_cast<double>(remainder > 2 ? kPoundsStep * steps + kPoundsStep
                                           : kPoundsStep * steps);
}

double UnitsHelper::lbsToKG(double pounds) {
  return pounds * kKilogramsPerPound;
}

double UnitsHelper::kgToKG(double kilograms) {
  return RoundNearest(kilograms);
}

double UnitsHelper::cmToCM(double centimetres) {
  return RoundNearest(centimetres);
}

double UnitsHelper::cmToIn(double centimetres) {
  return RoundNearest(centimetres * kInchesPerCentimetre);
}

double UnitsHelper::cmToInEven(double centimetres) {
  return RoundNearestEven(centimetres * kInchesPerCentimetre);
}

double UnitsHelper::inToCM(double inches) {
  return inches * kCentimetresPerInch;
}

double UnitsHelper::heightToCMFootsInches(double feet, double inches) {
  return std::fma(feet, kCentimetresPerFoot, inToCM(inches));
}

double UnitsHelper::heightToCM(double height) {
  return heightUnits() == HeightUnitsTypeInches ? inToCM(height) : height;
}

std::int32_t UnitsHelper::tempertureFromCelsium(std::int32_t celsius) {
  switch (temperatureUnits()) {
    case TemperatureUnitsTypeCelsius:
      return celsius;
    case TemperatureUnitsTypeFahrenheit: {
      const float fahrenheit = std::fma(static_cast<float>(celsius), 1.8f, 32.0f);
      return units_detail::truncateToInt32(fahrenheit);
    }
    default:
      return 0;
  }
}

double UnitsHelper::weightToUnits(double kilograms) {
  return weightToUnitsWithTenth(kilograms, true);
}

double UnitsHelper::weightToUnitsWithTenth(double kilograms, bool withTenth) {
  switch (weightUnits()) {
    case WeightUnitsTypePounds:
      return withTenth ? kgToLBSWithTenth(kilograms) : kgToLBS(kilograms);
    case WeightUnitsTypeKilograms:
      return kgToKG(kilograms);
    default:
      return kilograms;
  }
}

double UnitsHelper::weightToUnitsTarget(double kilograms, bool target) {
  switch (weightUnits()) {
    case WeightUnitsTypePounds:
      return target ? kgToLBSForExercise(kilograms) : kgToLBSWithTenth(kilograms);
    case WeightUnitsTypeKilograms:
      return kgToKG(kilograms);
    default:
      return kilograms;
  }
}

double UnitsHelper::weightToKG(double weight) {
  return weightUnits() == WeightUnitsTypePounds ? lbsToKG(weight) : weight;
}

double UnitsHelper::heightValueInUnits(std::optional<double> centimetres) {
  const double value = units_detail::floatValue(centimetres);
  switch (heightUnits()) {
    case HeightUnitsTypeInches:
      return cmToIn(value);
    case HeightUnitsTypeCentimetres:
      return cmToCM(value);
    default:
      return value;
  }
}

FeetAndInches UnitsHelper::heightFootsInchesForValue(std::optional<double> centimetres) {
  const double value = units_detail::floatValue(centimetres);
  const std::uint64_t feet = units_detail::truncateToUnsigned(value / kCentimetresPerFoot);
  FeetAndInches result;
  if (feet > 0) {
    result.feet = feet;
    result.inches = cmToInEven(std::fma(-static_cast<double>(feet), kCentimetresPerFoot, value));
  } else {
    result.inches = cmToInEven(value);
  }
  return result;
}

double UnitsHelper::grammWeightInUnits(std::optional<double> grams) {
  const double value = units_detail::floatValue(grams);
  if (weightMealUnits() == MealWeightUnitsTypeOunces) {
    return value * kKilogramsPerGram / kKilogramsPerOunce;
  }
  return value;
}

std::optional<double> UnitsHelper::grammWeightFromUnits(std::optional<double> weight) {
  switch (weightMealUnits()) {
    case MealWeightUnitsTypeOunces:
      return static_cast<double>(units_detail::floatValue(weight)) * kKilogramsPerOunce /
             kKilogramsPerGram;
    case MealWeightUnitsTypeGrams:
      return weight;
    default:
      return std::nullopt;
  }
}

double UnitsHelper::weightInUnitsForMyProgressFloatValue(std::optional<double> kilograms) {
  return weightToUnitsWithTenth(kilograms.value_or(0.0), true);
}

}  // namespace dm
