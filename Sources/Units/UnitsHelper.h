// UnitsHelper: the user's unit choices with their derived defaults, and every conversion,
// rounding, label, formatted value and picker range through which stored metric quantities
// (kilograms, grams, centimetres, degrees Celsius, kilocalories) are shown.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "Units/UnitsCountrySource.h"
#include "Units/UnitsTypes.h"

namespace dm {

class SettingsStore;

// One process-wide instance (sharedInstance) holds the settings store in use; the static
// operations all work through it. Every method may be called from any thread: the settings
// store is thread-safe and the store and country-source references are swapped under a lock.
// Two threads deriving the same default at once may both store it; they store the same value.
//
// Number arguments written std::optional<double> are nullable numbers: absent reads as 0.
// Texts written std::optional<std::string> are nothing when a setting holds an unknown value.
// Nothing here reports errors; unknown setting values give the documented neutral results.
class UnitsHelper {
 public:
  // A helper over `prefs` (the standard settings store when null) and `countrySource`
  // (UnitsCountrySource::none() when null). Tests may build their own; the application uses
  // sharedInstance().
  explicit UnitsHelper(std::shared_ptr<SettingsStore> prefs = nullptr,
                       std::shared_ptr<UnitsCountrySource> countrySource = nullptr);
  UnitsHelper(const UnitsHelper&) = delete;
  UnitsHelper& operator=(const UnitsHelper&) = delete;

  // The process-wide instance, created on first use over SettingsStore::standard() and the
  // countries of the shared main store (StoreCountrySource; none while no store is open), and
  // destroyed at exit. The reference stays valid until static destruction; statics that
  // outlive it must not call it from their destructors.
  static UnitsHelper& sharedInstance();

  // The settings store in use (never null). The returned pointer is shared; the caller may
  // keep it.
  std::shared_ptr<SettingsStore> prefs() const;
  // Replaces the settings store; null restores SettingsStore::standard().
  void setPrefs(std::shared_ptr<SettingsStore> prefs);

  // Where the user's country comes from (never null); null restores the none() source.
  // The host may replace the shared instance's main-store source with its own.
  std::shared_ptr<UnitsCountrySource> countrySource() const;
  void setCountrySource(std::shared_ptr<UnitsCountrySource> source);

  // A plain stored number that no operation here reads; kept for callers that set it.
  std::optional<double> defaultTemperatureValue() const;
  void setDefaultTemperatureValue(std::optional<double> value);

  // ---- Settings. ----
  // The value stored under the setting's key as it stands (normally an integer); when absent,
  // the matching default...Value(). Never null.
  nlohmann::json weightUnitsValue();
  nlohmann::json weightMealUnitsValue();
  nlohmann::json temperatureUnitsValue();
  nlohmann::json distanceUnitsValue();
  nlohmann::json caloriesUnitsValue();
  nlohmann::json heightUnitsValue();

  // Store the choice, then post kUnitsChanged on the default event centre.
  void setWeightUnitsValue(std::int64_t value);
  void setWeightMealUnitsValue(std::int64_t value);
  void setTemperatureUnitsValue(std::int64_t value);
  void setDistanceUnitsValue(std::int64_t value);
  void setCaloriesUnitsValue(std::int64_t value);
  void setHeightUnitsValue(std::int64_t value);

  // The stored default when present. Otherwise the default is derived from the country
  // (isMetricCountryForLocation) and, when that gives an answer, stored without posting an
  // event -- but this call still answers 0 (metric); only later calls see the stored value.
  // Installed applications rely on that first answer, so it is kept. Never null.
  nlohmann::json defaultWeightUnitsValue();
  nlohmann::json defaultWeightMealUnitsValue();
  nlohmann::json defaultTemperatureUnitsValue();
  nlohmann::json defaultDistanceUnitsValue();
  nlohmann::json defaultCaloriesUnitsValue();
  nlohmann::json defaultHeightUnitsValue();

  // Store the default, then post kUnitsChanged.
  void setDefaultWeightUnitsValue(std::int64_t value);
  void setDefaultWeightMealUnitsValue(std::int64_t value);
  void setDefaultTemperatureUnitsValue(std::int64_t value);
  void setDefaultDistanceUnitsValue(std::int64_t value);
  void setDefaultCaloriesUnitsValue(std::int64_t value);
  void setDefaultHeightUnitsValue(std::int64_t value);

  // The chosen currency code; when absent, defaultCurrencyValue().
  std::optional<std::string> currencyValue();
  // Stores the code; nullopt removes it. Posts no event.
  void setCurrencyValue(std::optional<std::string> code);
  // The stored default currency; when absent, the current locale's currency code, which is
  // stored and returned. Nothing when the locale has no currency (a locale without region).
  std::optional<std::string> defaultCurrencyValue();
  // Stores the default currency; nullopt removes it. Posts no event.
  void setDefaultCurrencyValue(std::optional<std::string> code);

  // True when any of the seven default keys is absent.
  bool needsToSetDefaultValues() const;
  // Removes the weight, distance, calories and height defaults so they are derived again from
  // the then current country. Food weight, temperature and currency defaults stay.
  void resetDefaultValues();

  // Whether the user's country counts as metric: with a stored country that has a code, false
  // for "US" and "GB", true otherwise; failing that, from the current locale's region the
  // same way; nothing when neither is known.
  std::optional<bool> isMetricCountryForLocation() const;

  // Posts kUnitsChanged (no sender, no payload) on the default event centre, synchronously on
  // the calling thread.
  void postNotificationUnitsChanged() const;

  // The supported display currencies, in display order. Static storage.
  static std::span<const std::string_view> currencies();

  // ---- Current units: the integer value of the matching getter (non-numbers read as 0). ----
  static std::int64_t weightUnits();
  static std::int64_t weightMealUnits();
  static std::int64_t temperatureUnits();
  static std::int64_t distanceUnits();
  static std::int64_t caloriesUnits();
  static std::int64_t heightUnits();

  // ---- Unit labels: localised texts; nothing for an unknown setting value. ----
  static std::optional<std::string> temperatureUnitsShort();
  static std::optional<std::string> weightUnitsStringShort();
  // The label used inside exercise weight templates.
  static std::optional<std::string> weightUnitsStringShortTemplate();
  static std::optional<std::string> weightUnitsStringLong();
  static std::optional<std::string> distanceUnitsStringShort();
  static std::optional<std::string> heightUnitsStringShort();
  // Centimetres: the label; inches: "" (feet-and-inches texts carry their own marks).
  static std::optional<std::string> heightUnitsStringExtraShort();
  // Centimetres: the label; inches: the inch mark '"' in Russian, the inch label otherwise.
  static std::optional<std::string> heightUnitsStringExtraShort2();
  // By the food-weight setting: grams or ounces.
  static std::optional<std::string> productWeightUnits();
  static std::string caloriesUnitsStringShort();
  static std::string footsStringShort();
  static std::string footsStringLong();
  static std::string inchesStringLong();

  // ---- Captions. ----
  // "label, unit" through the localised measurement caption format.
  static std::string weightUnitWithLabel(std::string_view label);
  static std::string heightUnitWithLabel(std::string_view label);
  // The height caption; with inches the bare label, since the values carry their marks.
  static std::string heightLabelString();

  // ---- Rounding (single precision, halves away from zero) and conversion. ----
  // Whole number. Despite the name, 2.5 gives 3 and -2.5 gives -3.
  static double RoundNearestEven(double value);
  // One decimal; the result carries float error (70.3 -> 70.30000305...), so format it.
  static double RoundNearest(double value);
  static double kgToLBS(double kilograms);
  static double kgToLBSWithTenth(double kilograms);
  // Whole pounds, snapped to a multiple of 5 above 10 lb (plates come in 5 lb steps).
  static double kgToLBSForExercise(double kilograms);
  static double lbsToKG(double pounds);
  static double kgToKG(double kilograms);
  static double cmToCM(double centimetres);
  static double cmToIn(double centimetres);
  static double cmToInEven(double centimetres);
  static double inToCM(double inches);
  static double heightToCMFootsInches(double feet, double inches);
  // Height in the user's units to centimetres (inches converted; otherwise unchanged).
  static double heightToCM(double height);
  // Celsius to the user's temperature unit; Fahrenheit is truncated toward zero (37 -> 98).
  // An unknown setting gives 0.
  static std::int32_t tempertureFromCelsium(std::int32_t celsius);
  static double weightToUnits(double kilograms);
  static double weightToUnitsWithTenth(double kilograms, bool withTenth);
  // `target`: the weight is an exercise target, so pounds are snapped like kgToLBSForExercise.
  static double weightToUnitsTarget(double kilograms, bool target);
  // A weight in the user's units to kilograms.
  static double weightToKG(double weight);
  // Centimetres (read as float) to the user's height unit.
  static double heightValueInUnits(std::optional<double> centimetres);

  // ---- Formatted values (current locale's number notation unless said otherwise). ----
  static std::string weightInUnits(std::optional<double> kilograms);
  static std::string weightInUnitsForMyProgress(std::optional<double> kilograms);
  static double weightInUnitsForMyProgressFloatValue(std::optional<double> kilograms);
  static std::string heightInUnits(std::optional<double> centimetres);
  // Inches: feet and inches ("5' 11''"); centimetres: the number; unknown setting: nothing.
  static std::optional<std::string> heightInUnitsWithFoots(std::optional<double> centimetres);
  // Feet and inches text of a height in centimetres: "5' 11''", "6'" (a rounded 12 inches
  // carry into the feet), or inches alone under a foot ("7.9''"). Numbers are localised when
  // asked, otherwise written in C notation.
  static std::string heightFootsInchesWithLocalizedNumbers(std::optional<double> centimetres,
                                                           bool localizedNumbers);
  // The same split as numbers, without the twelve-inch carry.
  static FeetAndInches heightFootsInchesForValue(std::optional<double> centimetres);
  // Grams to the food-weight unit (1 oz = 28.3495 g); an unknown setting gives the grams.
  static double grammWeightInUnits(std::optional<double> grams);
  // A food weight in the user's unit to grams: ounces converted, grams returned as given,
  // nothing for an unknown setting.
  static std::optional<double> grammWeightFromUnits(std::optional<double> weight);
  // "3.5 oz": the food weight with at most one decimal (halves up), a blank and the unit label;
  // an unknown setting gives the grams and an empty label ("100 ").
  static std::string grammWeightWithTitleInUnits(std::optional<double> grams);

  // ---- Picker ranges. ----
  // location = min, length = max - min, both truncated to unsigned (negatives give 0).
  static UnitRange makeRangeMax(double min, double max);
  static UnitRange weightRange();     // in the user's weight unit
  static UnitRange weightRangeInC();  // the same span in kilograms
  static UnitRange heightRange();     // centimetres, or whole feet
  static UnitRange heightRangeInC();  // the same span in centimetres
  static UnitRange ageRange();        // years

  // ---- Other. ----
  // The localised title of diet load level `index` ("DietLoad2").
  static std::string loadLevelForIndex(std::int64_t index);
  // The boolean "currentProgrammIsTarget" of the standard settings store; false when absent.
  static bool currentProgrammIsTarget();

 private:
  struct Setting;
  nlohmann::json unitsValue(const Setting& setting);
  nlohmann::json defaultUnitsValue(const Setting& setting);
  void setUnitsValue(std::string_view key, std::int64_t value);

  mutable std::mutex mutex_;
  std::shared_ptr<SettingsStore> prefs_;               // guarded by mutex_
  std::shared_ptr<UnitsCountrySource> countrySource_;  // guarded by mutex_
  std::optional<double> defaultTemperatureValue_;      // guarded by mutex_
};

}  // namespace dm
