// UnitsHelper's formatted values: weights, heights (also as feet and inches) and food weights
// as the screens show them in the current locale.
#include <unicode/locid.h>
#include <unicode/numberformatter.h>

#include "Platform/Foundation/LocaleServices.h"
#include "Platform/Foundation/Localization.h"
#include "Platform/Foundation/Logger.h"
#include "Platform/Foundation/StringFormat.h"
#include "Units/UnitsHelper.h"
#include "Units/UnitsNumerics.h"

namespace dm {

namespace {

constexpr double kCentimetresPerFoot = 30.48;

// Food weights: at most one decimal, halves away from zero, no grouping (a plain formatter in
// the current locale). Empty only when ICU fails, which is logged.
std::string foodWeightNumberText(double value) {
  const std::string identifier = currentLocaleIdentifier();
  UErrorCode status = U_ZERO_ERROR;
  const icu::UnicodeString formatted =
      icu::number::NumberFormatter::withLocale(icu::Locale(identifier.c_str()))
          .precision(icu::number::Precision::maxFraction(1))
          .roundingMode(UNUM_ROUND_HALFUP)
          .grouping(UNUM_GROUPING_OFF)
          .formatDouble(value, status)
          .toString(status);
  if (U_FAILURE(status)) {
    logWarning(std::string("Food weight formatting failed: ") + u_errorName(status));
    return {};
  }
  std::string text;
  formatted.toUTF8String(text);
  return text;
}

std::string inchesText(double inches, bool localizedNumbers) {
  return localizedNumbers ? localizedNumberString(inches) : stringWithFormat("%g", inches);
}

}  // namespace

std::string UnitsHelper::weightInUnits(std::optional<double> kilograms) {
  return localizedNumberString(weightToUnits(kilograms.value_or(0.0)));
}

std::string UnitsHelper::weightInUnitsForMyProgress(std::optional<double> kilograms) {
  return localizedNumberString(weightToUnitsWithTenth(kilograms.value_or(0.0), true));
}

std::string UnitsHelper::heightInUnits(std::optional<double> centimetres) {
  return localizedNumberString(heightValueInUnits(centimetres));
}

std::optional<std::string> UnitsHelper::heightInUnitsWithFoots(std::optional<double> centimetres) {
  switch (heightUnits()) {
    case HeightUnitsTypeInches:
      return heightFootsInchesWithLocalizedNumbers(centimetres, true);
    case HeightUnitsTypeCentimetres:
      return localizedNumberString(cmToCM(units_detail::floatValue(centimetres)));
    default:
      return std::nullopt;
  }
}

std::string UnitsHelper::heightFootsInchesWithLocalizedNumbers(std::optional<double> centimetres,
                                                               bool localizedNumbers) {
  const double value = units_detail::floatValue(centimetres);
  std::uint64_t feet = units_detail::truncateToUnsigned(value / kCentimetresPerFoot);
  if (feet == 0) {
    return stringWithFormat("%@''", inchesText(cmToIn(value), localizedNumbers));
  }
  double inches = cmToInEven(std::fma(-static_cast<double>(feet), kCentimetresPerFoot, value));
  // 11.6 inches and more round to a whole foot; "5' 12''" is not a height.
  if (inches >= 12) {
    feet += 1;
    inches = 0;
  }
  const std::string feetText = localizedNumbers ? localizedNumberString(static_cast<double>(feet))
                                                : stringWithFormat("%lu", feet);
  std::string result = stringWithFormat("%@'", feetText);
  if (inches > 0) result += stringWithFormat(" %@''", inchesText(inches, localizedNumbers));
  return result;
}

std::string UnitsHelper::grammWeightWithTitleInUnits(std::optional<double> grams) {
  const float value = units_detail::floatValue(grams);
  double shown = value;
  std::string label;
  switch (weightMealUnits()) {
    case MealWeightUnitsTypeOunces:
      shown = grammWeightInUnits(grams);
      label = localizedString("Settings.oz").value_or("Settings.oz");
      break;
    case MealWeightUnitsTypeGrams:
      label = localizedString("Settings.gr").value_or("Settings.gr");
      break;
    default:
      break;
  }
  return stringWithFormat("%@ %@", foodWeightNumberText(shown), label);
}

}  // namespace dm
