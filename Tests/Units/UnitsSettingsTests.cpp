// UnitsHelper's settings: default derivation and its one-call lag, resets, currencies and which
// setters post unitsChanged.
#include <gtest/gtest.h>

#include <functional>
#include <string_view>
#include <vector>

#include "UnitsTestFixture.h"

namespace dm::test {
namespace {

using Keys = UnitsSettingsKeys;
using UnitsSettingsTest = UnitsTest;

TEST_F(UnitsSettingsTest, ImperialCountryIsDerivedOnFirstReadButAnsweredOneCallLater) {
  setCountry("US");
  EXPECT_EQ(UnitsHelper::weightUnits(), 0);
  EXPECT_EQ(store().integerForKey(Keys::defaultWeightUnits), 1);
  EXPECT_EQ(UnitsHelper::weightUnits(), 1);
  // Each setting lags on its own.
  EXPECT_FALSE(store().contains(Keys::defaultHeightUnits));
  EXPECT_EQ(units().defaultHeightUnitsValue(), 0);
  EXPECT_EQ(units().defaultHeightUnitsValue(), 1);
  // Deriving a default is not a user change.
  EXPECT_EQ(posts(), 0);
}

// The stored country decides metric or imperial; without one the locale's region does; with
// neither nothing is derived.
TEST_F(UnitsSettingsTest, StoredCountryWinsOverTheLocaleRegion) {
  struct Case {
    std::optional<std::string> country;
    const char* locale;
    std::optional<bool> metric;
  };
  for (const Case& c : {Case{"DE", "en_GB", true},
                        {"GB", "de_DE", false},
                        {std::nullopt, "en_GB", false},
                        {std::nullopt, "ru_RU", true},
                        {std::nullopt, "en", std::nullopt}}) {
    SCOPED_TRACE(c.country.value_or("no country") + " in " + c.locale);
    setCountry(c.country);
    setCurrentLocaleIdentifier(c.locale);
    EXPECT_EQ(units().isMetricCountryForLocation(), c.metric);
  }

  // Derived from the region, the default is stored; with nothing to derive from, it is not.
  setCountry(std::nullopt);
  setCurrentLocaleIdentifier("ru_RU");
  EXPECT_EQ(UnitsHelper::temperatureUnits(), 0);
  EXPECT_TRUE(store().contains(Keys::defaultTemperatureUnits));
  setCurrentLocaleIdentifier("en");
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(UnitsHelper::weightUnits(), 0);
    EXPECT_EQ(UnitsHelper::heightUnits(), 0);
  }
  EXPECT_FALSE(store().contains(Keys::defaultWeightUnits));
  EXPECT_FALSE(store().contains(Keys::defaultHeightUnits));
  EXPECT_TRUE(units().needsToSetDefaultValues());
}

TEST_F(UnitsSettingsTest, ChosenValueOverridesTheDefaultAndOddStoredValuesReadAsIntegers) {
  setCountry("US");
  units().setWeightUnitsValue(WeightUnitsTypeKilograms);
  EXPECT_EQ(UnitsHelper::weightUnits(), 0);
  EXPECT_FALSE(store().contains(Keys::defaultWeightUnits));  // never needed

  store().setString(Keys::heightUnits, "1");
  EXPECT_EQ(UnitsHelper::heightUnits(), 1);
  store().setDouble(Keys::weightMealUnits, 1.0);
  EXPECT_EQ(UnitsHelper::weightMealUnits(), 1);
  store().setObject(Keys::temperatureUnits, nlohmann::json::array({1}));
  EXPECT_EQ(UnitsHelper::temperatureUnits(), 0);
  // The food-weight key keeps its historical spelling.
  EXPECT_TRUE(store().contains("weighMealtUnits"));
}

TEST_F(UnitsSettingsTest, ResetRederivesOnlyWeightDistanceCaloriesAndHeight) {
  units().setDefaultWeightUnitsValue(0);
  units().setDefaultWeightMealUnitsValue(0);
  units().setDefaultTemperatureUnitsValue(0);
  units().setDefaultDistanceUnitsValue(0);
  units().setDefaultCaloriesUnitsValue(0);
  units().setDefaultHeightUnitsValue(0);
  EXPECT_TRUE(units().needsToSetDefaultValues());  // currency still missing
  units().setDefaultCurrencyValue("EUR");
  EXPECT_FALSE(units().needsToSetDefaultValues());

  units().resetDefaultValues();
  EXPECT_TRUE(units().needsToSetDefaultValues());
  for (auto key : {Keys::defaultWeightUnits, Keys::defaultDistanceUnits, Keys::defaultCaloriesUnits,
                   Keys::defaultHeightUnits}) {
    EXPECT_FALSE(store().contains(key)) << key;
  }
  EXPECT_TRUE(store().contains(Keys::defaultWeightMealUnits));
  EXPECT_TRUE(store().contains(Keys::defaultTemperatureUnits));
  EXPECT_EQ(store().stringForKey(Keys::defaultCurrency), "EUR");

  // The user moved: the reset defaults follow the new country, the kept ones do not.
  setCountry("US");
  UnitsHelper::weightUnits();
  UnitsHelper::temperatureUnits();
  EXPECT_EQ(UnitsHelper::weightUnits(), 1);
  EXPECT_EQ(UnitsHelper::temperatureUnits(), 0);
}

TEST_F(UnitsSettingsTest, UnitAndUnitDefaultSettersPostCurrencySettersDoNot) {
  using Setter = void (UnitsHelper::*)(std::int64_t);
  const std::vector<Setter> posting = {
      &UnitsHelper::setWeightUnitsValue,
      &UnitsHelper::setWeightMealUnitsValue,
      &UnitsHelper::setTemperatureUnitsValue,
      &UnitsHelper::setDistanceUnitsValue,
      &UnitsHelper::setCaloriesUnitsValue,
      &UnitsHelper::setHeightUnitsValue,
      &UnitsHelper::setDefaultWeightUnitsValue,
      &UnitsHelper::setDefaultWeightMealUnitsValue,
      &UnitsHelper::setDefaultTemperatureUnitsValue,
      &UnitsHelper::setDefaultDistanceUnitsValue,
      &UnitsHelper::setDefaultCaloriesUnitsValue,
      &UnitsHelper::setDefaultHeightUnitsValue,
  };
  // Each post has no sender and no payload, and its listeners already read the new value.
  std::vector<std::int64_t> seen;
  auto token = EventCenter::defaultCenter()->addObserver(
      std::string(kUnitsChanged), [&](const Event& event) {
        EXPECT_EQ(event.object, nullptr);
        EXPECT_TRUE(event.userInfo.is_null());
        seen.push_back(store().integerForKey(Keys::heightUnits));
      });
  int expected = 0;
  for (const auto setter : posting) {
    (units().*setter)(1);
    EXPECT_EQ(posts(), ++expected);
  }
  ASSERT_EQ(seen.size(), posting.size());
  EXPECT_EQ(seen[4], 0);
  EXPECT_EQ(seen[5], 1);  // read during the height setter's own post

  units().setCurrencyValue("EUR");
  units().setDefaultCurrencyValue("USD");
  units().resetDefaultValues();
  EXPECT_EQ(posts(), expected);
}

TEST_F(UnitsSettingsTest, CurrencyDefaultsToTheLocaleCurrencyOnce) {
  setCurrentLocaleIdentifier("ru_RU");
  EXPECT_EQ(units().currencyValue(), "RUB");
  EXPECT_EQ(store().stringForKey(Keys::defaultCurrency), "RUB");
  setCurrentLocaleIdentifier("en_US");
  EXPECT_EQ(units().currencyValue(), "RUB");  // stored, not re-derived

  units().setCurrencyValue("CHF");
  EXPECT_EQ(units().currencyValue(), "CHF");
  EXPECT_EQ(posts(), 0);

  store().remove(Keys::defaultCurrency);
  setCurrentLocaleIdentifier("en");  // no region, no currency
  EXPECT_EQ(units().defaultCurrencyValue(), std::nullopt);
  EXPECT_FALSE(store().contains(Keys::defaultCurrency));
}

}  // namespace
}  // namespace dm::test
