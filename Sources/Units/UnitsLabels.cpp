// UnitsHelper's unit labels and captions: display keys chosen by the current settings and
// looked up in the localisation tables.
#include "Platform/Foundation/LocaleServices.h"
#include "Platform/Foundation/Localization.h"
#include "Platform/Foundation/StringFormat.h"
#include "Units/UnitsHelper.h"

namespace dm {

namespace {

// A key without a text shows as the key itself, so a missing translation is visible rather
// than blank.
std::string text(std::string_view key) {
  return localizedString(key).value_or(std::string(key));
}

// The text for setting value 0 or 1; nothing for any other value.
std::optional<std::string> labelFor(std::int64_t setting, std::string_view zeroKey,
                                    std::string_view oneKey) {
  switch (setting) {
    case 0:
      return text(zeroKey);
    case 1:
      return text(oneKey);
    default:
      return std::nullopt;
  }
}

bool interfaceIsRussian() {
  const std::string language = currentInterfaceLanguage();
  return language.rfind("ru", 0) == 0 &&
         (language.size() == 2 || language[2] == '_' || language[2] == '-');
}

std::string unitCaption(std::string_view label, const std::optional<std::string>& unit) {
  return stringWithFormat(text("MyProgress.MeasurementWithUnitFormat"), label,
                          unit.value_or(std::string()));
}

}  // namespace

std::optional<std::string> UnitsHelper::temperatureUnitsShort() {
  return labelFor(temperatureUnits(), "Settings.Celsium", "Settings.Fahrenheit");
}

std::optional<std::string> UnitsHelper::weightUnitsStringShort() {
  return labelFor(weightUnits(), "Settings.kg", "Settings.lbs");
}

std::optional<std::string> UnitsHelper::weightUnitsStringShortTemplate() {
  return labelFor(weightUnits(), "Exercise.WeightUnit.kg", "Exercise.WeightUnit.lbs");
}

std::optional<std::string> UnitsHelper::weightUnitsStringLong() {
  return labelFor(weightUnits(), "Settings.kilograms", "Settings.pounds");
}

std::optional<std::string> UnitsHelper::distanceUnitsStringShort() {
  return labelFor(distanceUnits(), "Settings.km", "Settings.mi");
}

std::optional<std::string> UnitsHelper::heightUnitsStringShort() {
  return labelFor(heightUnits(), "Settings.cm", "Settings.in");
}

std::optional<std::string> UnitsHelper::heightUnitsStringExtraShort() {
  switch (heightUnits()) {
    case HeightUnitsTypeCentimetres:
      return text("Settings.cm");
    case HeightUnitsTypeInches:
      return std::string();
    default:
      return std::nullopt;
  }
}

std::optional<std::string> UnitsHelper::heightUnitsStringExtraShort2() {
  switch (heightUnits()) {
    case HeightUnitsTypeCentimetres:
      return text("Settings.cm");
    case HeightUnitsTypeInches:
      // Russian has no short word for inches; the mark is what people write.
      return interfaceIsRussian() ? std::string("\"") : text("Settings.in");
    default:
      return std::nullopt;
  }
}

std::optional<std::string> UnitsHelper::productWeightUnits() {
  return labelFor(weightMealUnits(), "Settings.gr", "Settings.oz");
}

std::string UnitsHelper::caloriesUnitsStringShort() {
  return text("Settings.kcal");
}
std::string UnitsHelper::footsStringShort() {
  return text("Settings.ft");
}
std::string UnitsHelper::footsStringLong() {
  return text("Settings.foots");
}
std::string UnitsHelper::inchesStringLong() {
  return text("Settings.inches");
}

std::string UnitsHelper::weightUnitWithLabel(std::string_view label) {
  return unitCaption(label, weightUnitsStringShort());
}

std::string UnitsHelper::heightUnitWithLabel(std::string_view label) {
  return unitCaption(label, heightUnitsStringShort());
}

std::string UnitsHelper::heightLabelString() {
  const std::string label = text("MyProgress.Height");
  // Feet-and-inches values carry their own marks, so the caption names no unit.
  if (heightUnits() == HeightUnitsTypeInches) return label;
  return heightUnitWithLabel(label);
}

std::string UnitsHelper::loadLevelForIndex(std::int64_t index) {
  return text(stringWithFormat("DietLoad%ld", index));
}

}  // namespace dm
