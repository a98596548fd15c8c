// The unit enumerations, settings keys, event name and value types shared by UnitsHelper and
// its callers.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace dm {

// Each unit setting holds a non-negative integer; only 0 and 1 are meaningful. Any other value
// makes labels come out as nothing and conversions pass their input through unchanged.
enum WeightUnitsType : std::int64_t {  // body and exercise weight
  WeightUnitsTypeKilograms = 0,
  WeightUnitsTypePounds = 1,
};
enum MealWeightUnitsType : std::int64_t {  // food and product weight
  MealWeightUnitsTypeGrams = 0,
  MealWeightUnitsTypeOunces = 1,
};
enum TemperatureUnitsType : std::int64_t {
  TemperatureUnitsTypeCelsius = 0,
  TemperatureUnitsTypeFahrenheit = 1,
};
enum DistanceUnitsType : std::int64_t {
  DistanceUnitsTypeKilometres = 0,
  DistanceUnitsTypeMiles = 1,
};
enum HeightUnitsType : std::int64_t {  // height and body girths
  HeightUnitsTypeCentimetres = 0,
  HeightUnitsTypeInches = 1,  // shown as feet and inches
};

// Posted on the default event centre after any unit value or unit default changes; no sender,
// no payload. Listeners re-read through UnitsHelper.
inline constexpr std::string_view kUnitsChanged = "kUnitsChanged";

// Keys in the device settings store. Unit values are integers, currencies text codes.
// "weighMealtUnits" is spelled as installed applications already store it; do not correct it.
struct UnitsSettingsKeys {
  static constexpr std::string_view weightUnits = "weightUnits";
  static constexpr std::string_view weightMealUnits = "weighMealtUnits";
  static constexpr std::string_view temperatureUnits = "temperatureUnits";
  static constexpr std::string_view distanceUnits = "distanceUnits";
  static constexpr std::string_view caloriesUnits = "caloriesUnits";
  static constexpr std::string_view heightUnits = "heightUnits";
  static constexpr std::string_view currencyUnits = "currencyUnits";

  static constexpr std::string_view defaultWeightUnits = "defaultWeightUnitsValue";
  static constexpr std::string_view defaultWeightMealUnits = "defaultWeightMealUnitsValue";
  static constexpr std::string_view defaultTemperatureUnits = "defaultTemperatureUnitsValue";
  static constexpr std::string_view defaultDistanceUnits = "defaultDistanceUnitsValue";
  static constexpr std::string_view defaultCaloriesUnits = "defaultCaloriesUnitsValue";
  static constexpr std::string_view defaultHeightUnits = "defaultHeightUnitsValue";
  static constexpr std::string_view defaultCurrency = "defaultCurrencyValue";

  // Boolean: whether the client's current programme is a target programme.
  static constexpr std::string_view currentProgrammIsTarget = "currentProgrammIsTarget";
};

// The closed span location .. location + length, as the pickers of weights, heights and ages
// take it.
struct UnitRange {
  std::uint64_t location = 0;
  std::uint64_t length = 0;
  bool operator==(const UnitRange&) const = default;
};

// A height split into whole feet and inches. `feet` is nothing when the height is under a
// foot; `inches` may be 12 (no carry into the feet).
struct FeetAndInches {
  std::optional<std::uint64_t> feet;
  double inches = 0;
};

}  // namespace dm
