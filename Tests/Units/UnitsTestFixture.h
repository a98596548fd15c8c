// A fixture that points UnitsHelper at a fresh in-memory settings store, a chosen country and
// locale, and a private event centre whose unitsChanged posts it counts.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>

#include "Platform/Foundation/Directories.h"
#include "Platform/Foundation/EventCenter.h"
#include "Platform/Foundation/LocaleServices.h"
#include "Platform/Foundation/SettingsStore.h"
#include "Support/TempDir.h"
#include "Units/UnitsHelper.h"

namespace dm::test {

class UnitsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Directories::setDataRoot(dir_.path());
    store_ = SettingsStore::inMemory();
    SettingsStore::setStandard(store_);
    UnitsHelper::sharedInstance().setPrefs(store_);
    setCountry(std::nullopt);
    setCurrentLocaleIdentifier("en_US");
    setCurrentInterfaceLanguage("en");
    center_ = std::make_shared<EventCenter>();
    EventCenter::setDefaultCenter(center_);
    token_ = center_->addObserver(std::string(kUnitsChanged), [this](const Event&) { ++posts_; });
  }

  void TearDown() override {
    token_.reset();
    EventCenter::setDefaultCenter(nullptr);
    UnitsHelper::sharedInstance().setCountrySource(nullptr);
    SettingsStore::setStandard(nullptr);
    setCurrentLocaleIdentifier("");
    setCurrentInterfaceLanguage("");
  }

  // The stored country the defaults are derived from; nothing for no stored country.
  void setCountry(std::optional<std::string> iso) {
    UnitsHelper::sharedInstance().setCountrySource(
        UnitsCountrySource::fromFunction([iso] { return iso; }));
  }

  // Chooses every unit at once (without counting the posts).
  void chooseAll(std::int64_t value) {
    auto& units = UnitsHelper::sharedInstance();
    units.setWeightUnitsValue(value);
    units.setWeightMealUnitsValue(value);
    units.setTemperatureUnitsValue(value);
    units.setDistanceUnitsValue(value);
    units.setHeightUnitsValue(value);
    posts_ = 0;
  }

  UnitsHelper& units() { return UnitsHelper::sharedInstance(); }
  SettingsStore& store() { return *store_; }
  int posts() const { return posts_; }

 private:
  TempDir dir_;
  std::shared_ptr<SettingsStore> store_;
  std::shared_ptr<EventCenter> center_;
  ObserverToken token_;
  int posts_ = 0;
};

}  // namespace dm::test
