// UnitsHelper's settings: the chosen unit values, their defaults derived from the user's country
// or the locale's region, the currency, and the unitsChanged event.
#include "Units/UnitsHelper.h"

#include "Units/StoreCountrySource.h"

#include <unicode/locid.h>
#include <unicode/ucurr.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "Platform/Foundation/EventCenter.h"
#include "Platform/Foundation/LocaleServices.h"
#include "Platform/Foundation/SettingsStore.h"

namespace dm {

namespace {

constexpr std::array<std::string_view, 12> kCurrencies = {"USD", "RUB", "EUR", "GBP", "JPY", "AUD",
                                                          "BYN", "BRL", "CAD", "MXP", "UAH", "CHF"};

// The integer reading of a stored setting: numbers truncated, booleans 0/1, texts by their
// leading number, anything else 0.
std::int64_t integerValue(const nlohmann::json& value) {
  if (value.is_number_integer()) return value.get<std::int64_t>();
  if (value.is_number_unsigned()) {
    const auto number = value.get<std::uint64_t>();
    return number > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())
               ? std::numeric_limits<std::int64_t>::max()
               : static_cast<std::int64_t>(number);
  }
  if (value.is_number_float()) {
    const double number = std::trunc(value.get<double>());
    if (!(number > -9.2e18 && number < 9.2e18)) return 0;
    return static_cast<std::int64_t>(number);
  }
  if (value.is_boolean()) return value.get<bool>() ? 1 : 0;
  if (value.is_string()) {
    return std::strtoll(value.get_ref<const std::string&>().c_str(), nullptr, 10);
  }
  return 0;
}

bool isImperialRegion(std::string_view region) {
  return region == "US" || region == "GB";
}

// The region of the current locale ("US" for "en_US"); empty when it names none.
std::string currentRegionCode() {
  icu::Locale locale(currentLocaleIdentifier().c_str());
  return locale.getCountry();
}

std::optional<std::string> currentLocaleCurrencyCode() {
  const std::string identifier = currentLocaleIdentifier();
  if (icu::Locale(identifier.c_str()).getCountry()[0] == '\0') return std::nullopt;
  UErrorCode status = U_ZERO_ERROR;
  std::array<UChar, 8> code{};
  const int32_t length =
      ucurr_forLocale(identifier.c_str(), code.data(), static_cast<int32_t>(code.size()), &status);
  if (U_FAILURE(status) || length <= 0 || length >= static_cast<int32_t>(code.size())) {
    return std::nullopt;
  }
  std::string text;
  for (int32_t i = 0; i < length; ++i) text.push_back(static_cast<char>(code[i]));
  return text;
}

}  // namespace

// The chosen key and default key of one unit setting.
struct UnitsHelper::Setting {
  std::string_view key;
  std::string_view defaultKey;
};

namespace {
using Keys = UnitsSettingsKeys;
}  // namespace

UnitsHelper::UnitsHelper(std::shared_ptr<SettingsStore> prefs,
                         std::shared_ptr<UnitsCountrySource> countrySource)
    : prefs_(prefs ? std::move(prefs) : SettingsStore::standard()),
      countrySource_(countrySource ? std::move(countrySource) : UnitsCountrySource::none()) {}

UnitsHelper& UnitsHelper::sharedInstance() {
  // Follows whichever main store is open at the time of each derivation, so stored countries
  // count as soon as the store exists, with nothing for the host to install.
  static UnitsHelper instance(nullptr, std::make_shared<StoreCountrySource>());
  return instance;
}

std::shared_ptr<SettingsStore> UnitsHelper::prefs() const {
  std::lock_guard lock(mutex_);
  return prefs_;
}

void UnitsHelper::setPrefs(std::shared_ptr<SettingsStore> prefs) {
  if (!prefs) prefs = SettingsStore::standard();
  std::lock_guard lock(mutex_);
  prefs_ = std::move(prefs);
}

std::shared_ptr<UnitsCountrySource> UnitsHelper::countrySource() const {
  std::lock_guard lock(mutex_);
  return countrySource_;
}

void UnitsHelper::setCountrySource(std::shared_ptr<UnitsCountrySource> source) {
  if (!source) source = UnitsCountrySource::none();
  std::lock_guard lock(mutex_);
  countrySource_ = std::move(source);
}

std::optional<double> UnitsHelper::defaultTemperatureValue() const {
  std::lock_guard lock(mutex_);
  return defaultTemperatureValue_;
}

void UnitsHelper::setDefaultTemperatureValue(std::optional<double> value) {
  std::lock_guard lock(mutex_);
  defaultTemperatureValue_ = value;
}

// ---- Unit values ----

nlohmann::json UnitsHelper::unitsValue(const Setting& setting) {
  if (auto stored = prefs()->objectForKey(setting.key)) return *stored;
  return defaultUnitsValue(setting);
}

nlohmann::json UnitsHelper::defaultUnitsValue(const Setting& setting) {
  const auto store = prefs();
  if (auto stored = store->objectForKey(setting.defaultKey)) return *stored;
  if (const auto metric = isMetricCountryForLocation()) {
    // Stored quietly: deriving a default is not a change the user made.
    store->setInteger(setting.defaultKey, *metric ? 0 : 1);
  }
  // The first answer is metric even when imperial was just derived; later calls read the
  // stored value. Existing installations depend on this sequence.
  return 0;
}

void UnitsHelper::setUnitsValue(std::string_view key, std::int64_t value) {
  prefs()->setInteger(key, value);
  postNotificationUnitsChanged();
}

nlohmann::json UnitsHelper::weightUnitsValue() {
  return unitsValue({Keys::weightUnits, Keys::defaultWeightUnits});
}
nlohmann::json UnitsHelper::weightMealUnitsValue() {
  return unitsValue({Keys::weightMealUnits, Keys::defaultWeightMealUnits});
}
nlohmann::json UnitsHelper::temperatureUnitsValue() {
  return unitsValue({Keys::temperatureUnits, Keys::defaultTemperatureUnits});
}
nlohmann::json UnitsHelper::distanceUnitsValue() {
  return unitsValue({Keys::distanceUnits, Keys::defaultDistanceUnits});
}
nlohmann::json UnitsHelper::caloriesUnitsValue() {
  return unitsValue({Keys::caloriesUnits, Keys::defaultCaloriesUnits});
}
nlohmann::json UnitsHelper::heightUnitsValue() {
  return unitsValue({Keys::heightUnits, Keys::defaultHeightUnits});
}

void UnitsHelper::setWeightUnitsValue(std::int64_t value) {
  setUnitsValue(Keys::weightUnits, value);
}
void UnitsHelper::setWeightMealUnitsValue(std::int64_t value) {
  setUnitsValue(Keys::weightMealUnits, value);
}
void UnitsHelper::setTemperatureUnitsValue(std::int64_t value) {
  setUnitsValue(Keys::temperatureUnits, value);
}
void UnitsHelper::setDistanceUnitsValue(std::int64_t value) {
  setUnitsValue(Keys::distanceUnits, value);
}
void UnitsHelper::setCaloriesUnitsValue(std::int64_t value) {
  setUnitsValue(Keys::caloriesUnits, value);
}
void UnitsHelper::setHeightUnitsValue(std::int64_t value) {
  setUnitsValue(Keys::heightUnits, value);
}

nlohmann::json UnitsHelper::defaultWeightUnitsValue() {
  return defaultUnitsValue({Keys::weightUnits, Keys::defaultWeightUnits});
}
nlohmann::json UnitsHelper::defaultWeightMealUnitsValue() {
  return defaultUnitsValue({Keys::weightMealUnits, Keys::defaultWeightMealUnits});
}
nlohmann::json UnitsHelper::defaultTemperatureUnitsValue() {
  return defaultUnitsValue({Keys::temperatureUnits, Keys::defaultTemperatureUnits});
}
nlohmann::json UnitsHelper::defaultDistanceUnitsValue() {
  return defaultUnitsValue({Keys::distanceUnits, Keys::defaultDistanceUnits});
}
nlohmann::json UnitsHelper::defaultCaloriesUnitsValue() {
  // Calories have one unit, but the default is derived like the others so the key set stays
  // complete for needsToSetDefaultValues.
  return defaultUnitsValue({Keys::caloriesUnits, Keys::defaultCaloriesUnits});
}
nlohmann::json UnitsHelper::defaultHeightUnitsValue() {
  return defaultUnitsValue({Keys::heightUnits, Keys::defaultHeightUnits});
}

void UnitsHelper::setDefaultWeightUnitsValue(std::int64_t value) {
  setUnitsValue(Keys::defaultWeightUnits, value);
}
void UnitsHelper::setDefaultWeightMealUnitsValue(std::int64_t value) {
  setUnitsValue(Keys::defaultWeightMealUnits, value);
}
void UnitsHelper::setDefaultTemperatureUnitsValue(std::int64_t value) {
  setUnitsValue(Keys::defaultTemperatureUnits, value);
}
void UnitsHelper::setDefaultDistanceUnitsValue(std::int64_t value) {
  setUnitsValue(Keys::defaultDistanceUnits, value);
}
void UnitsHelper::setDefaultCaloriesUnitsValue(std::int64_t value) {
  setUnitsValue(Keys::defaultCaloriesUnits, value);
}
void UnitsHelper::setDefaultHeightUnitsValue(std::int64_t value) {
  setUnitsValue(Keys::defaultHeightUnits, value);
}

// ---- Currency ----

std::optional<std::string> UnitsHelper::currencyValue() {
  if (auto code = prefs()->stringForKey(Keys::currencyUnits)) return code;
  return defaultCurrencyValue();
}

void UnitsHelper::setCurrencyValue(std::optional<std::string> code) {
  if (code) {
    prefs()->setString(Keys::currencyUnits, *code);
  } else {
    prefs()->remove(Keys::currencyUnits);
  }
}

std::optional<std::string> UnitsHelper::defaultCurrencyValue() {
  if (auto code = prefs()->stringForKey(Keys::defaultCurrency)) return code;
  auto code = currentLocaleCurrencyCode();
  setDefaultCurrencyValue(code);
  return code;
}

void UnitsHelper::setDefaultCurrencyValue(std::optional<std::string> code) {
  if (code) {
    prefs()->setString(Keys::defaultCurrency, *code);
  } else {
    prefs()->remove(Keys::defaultCurrency);
  }
}

std::span<const std::string_view> UnitsHelper::currencies() {
  return kCurrencies;
}

// ---- Defaults ----

bool UnitsHelper::needsToSetDefaultValues() const {
  const auto store = prefs();
  for (auto key : {Keys::defaultWeightUnits, Keys::defaultDistanceUnits, Keys::defaultCaloriesUnits,
                   Keys::defaultHeightUnits, Keys::defaultCurrency, Keys::defaultWeightMealUnits,
                   Keys::defaultTemperatureUnits}) {
    if (!store->contains(key)) return true;
  }
  return false;
}

void UnitsHelper::resetDefaultValues() {
  const auto store = prefs();
  // Food weight, temperature and currency defaults are kept: they were never re-derived on a
  // country change, and users have lived with them since.
  for (auto key : {Keys::defaultWeightUnits, Keys::defaultDistanceUnits, Keys::defaultCaloriesUnits,
                   Keys::defaultHeightUnits}) {
    store->remove(key);
  }
}

std::optional<bool> UnitsHelper::isMetricCountryForLocation() const {
  if (const auto iso = countrySource()->firstCountryIso()) return !isImperialRegion(*iso);
  const std::string region = currentRegionCode();
  if (region.empty()) return std::nullopt;
  return !isImperialRegion(region);
}

void UnitsHelper::postNotificationUnitsChanged() const {
  EventCenter::defaultCenter()->post(kUnitsChanged);
}

// ---- Current units ----

std::int64_t UnitsHelper::weightUnits() {
  return integerValue(sharedInstance().weightUnitsValue());
}
std::int64_t UnitsHelper::weightMealUnits() {
  return integerValue(sharedInstance().weightMealUnitsValue());
}
std::int64_t UnitsHelper::temperatureUnits() {
  return integerValue(sharedInstance().temperatureUnitsValue());
}
std::int64_t UnitsHelper::distanceUnits() {
  return integerValue(sharedInstance().distanceUnitsValue());
}
std::int64_t UnitsHelper::caloriesUnits() {
  return integerValue(sharedInstance().caloriesUnitsValue());
}
std::int64_t UnitsHelper::heightUnits() {
  return integerValue(sharedInstance().heightUnitsValue());
}

bool UnitsHelper::currentProgrammIsTarget() {
  // Written by the training screens to the standard store, whichever store units use.
  return SettingsStore::standard()->boolForKey(Keys::currentProgrammIsTarget);
}

}  // namespace dm
