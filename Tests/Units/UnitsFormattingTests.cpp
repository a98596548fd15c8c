// UnitsHelper's texts: labels and captions in en and ru, feet-and-inches texts, localised
// numbers and food weights.
#include <gtest/gtest.h>

#include "UnitsTestFixture.h"

namespace dm::test {
namespace {

using UnitsFormattingTest = UnitsTest;

TEST_F(UnitsFormattingTest, FeetAndInchesCarryARoundedTwelveInches) {
  struct Case {
    double centimetres;
    const char* text;
  };
  const Case cases[] = {
      {182.8, "6'"},       // 5 ft + 11.97 in -> 12 -> carried
      {180, "5' 11''"},    //
      {152.4, "5'"},       // zero inches are not shown
      {181.6, "5' 11''"},  // remainder 11.496 in stays below the tie
      {181.7, "6'"},       // remainder 11.535 in rounds up to 12
      {20, "7.9''"},       // under a foot: inches with a tenth
      {30.4, "12''"},      // still under a foot, so no carry
      {30.48, "12''"},     // as a float just under a foot
      {30.5, "1'"},        //
      {0, "0''"},          //
      {-5, "-2''"},        // negative heights stay in inches
  };
  for (const auto& c : cases) {
    EXPECT_EQ(UnitsHelper::heightFootsInchesWithLocalizedNumbers(c.centimetres, false), c.text)
        << c.centimetres << " cm";
  }
  EXPECT_EQ(UnitsHelper::heightFootsInchesWithLocalizedNumbers(std::nullopt, false), "0''");
}

TEST_F(UnitsFormattingTest, HeightTextsFollowTheSettingAndLocale) {
  units().setHeightUnitsValue(HeightUnitsTypeInches);
  EXPECT_EQ(UnitsHelper::heightInUnitsWithFoots(180.0), "5' 11''");
  EXPECT_EQ(UnitsHelper::heightInUnits(20.0), "7.9");
  setCurrentLocaleIdentifier("ru_RU");
  EXPECT_EQ(UnitsHelper::heightInUnitsWithFoots(20.0), "7,9''");
  EXPECT_EQ(UnitsHelper::heightFootsInchesWithLocalizedNumbers(20.0, false), "7.9''");

  units().setHeightUnitsValue(HeightUnitsTypeCentimetres);
  EXPECT_EQ(UnitsHelper::heightInUnitsWithFoots(180.25), "180,3");
  units().setHeightUnitsValue(5);
  EXPECT_EQ(UnitsHelper::heightInUnitsWithFoots(180.0), std::nullopt);
}

TEST_F(UnitsFormattingTest, WeightTextsHideFloatErrorAndUseLocaleSeparators) {
  chooseAll(WeightUnitsTypeKilograms);
  EXPECT_EQ(UnitsHelper::weightInUnits(70.3), "70.3");  // not 70.30000305
  EXPECT_EQ(UnitsHelper::weightInUnits(70.25), "70.3");
  EXPECT_EQ(UnitsHelper::weightInUnits(std::nullopt), "0");

  units().setWeightUnitsValue(WeightUnitsTypePounds);
  EXPECT_EQ(UnitsHelper::weightInUnitsForMyProgress(1000.0), "2,204.6");
  EXPECT_DOUBLE_EQ(UnitsHelper::weightInUnitsForMyProgressFloatValue(1000.0),
                   static_cast<double>(2204.6f));
  setCurrentLocaleIdentifier("ru_RU");
  EXPECT_EQ(UnitsHelper::weightInUnitsForMyProgress(1000.0), "2\u00a0204,6");
}

TEST_F(UnitsFormattingTest, FoodWeightTextRoundsHalvesUpToOneDecimal) {
  units().setWeightMealUnitsValue(MealWeightUnitsTypeOunces);
  EXPECT_EQ(UnitsHelper::grammWeightWithTitleInUnits(100.0), "3.5 oz");
  setCurrentLocaleIdentifier("ru_RU");
  setCurrentInterfaceLanguage("ru");
  EXPECT_EQ(UnitsHelper::grammWeightWithTitleInUnits(100.0), "3,5 унц");

  setCurrentLocaleIdentifier("en_US");
  setCurrentInterfaceLanguage("en");
  units().setWeightMealUnitsValue(MealWeightUnitsTypeGrams);
  EXPECT_EQ(UnitsHelper::grammWeightWithTitleInUnits(0.25), "0.3 g");  // not 0.2 (half-even)
  EXPECT_EQ(UnitsHelper::grammWeightWithTitleInUnits(0.24), "0.2 g");
  EXPECT_EQ(UnitsHelper::grammWeightWithTitleInUnits(1234.0), "1234 g");  // no grouping
  EXPECT_EQ(UnitsHelper::grammWeightWithTitleInUnits(std::nullopt), "0 g");

  units().setWeightMealUnitsValue(3);
  EXPECT_EQ(UnitsHelper::grammWeightWithTitleInUnits(100.0), "100 ");
}

TEST_F(UnitsFormattingTest, LabelsFollowSettingsAndLanguage) {
  chooseAll(0);
  EXPECT_EQ(UnitsHelper::weightUnitsStringShort(), "kg");
  EXPECT_EQ(UnitsHelper::temperatureUnitsShort(), "°C");
  EXPECT_EQ(UnitsHelper::heightUnitsStringExtraShort(), "cm");
  EXPECT_EQ(UnitsHelper::productWeightUnits(), "g");

  chooseAll(1);
  EXPECT_EQ(UnitsHelper::weightUnitsStringLong(), "pounds");
  EXPECT_EQ(UnitsHelper::weightUnitsStringShortTemplate(), "lbs");
  EXPECT_EQ(UnitsHelper::distanceUnitsStringShort(), "mi");
  EXPECT_EQ(UnitsHelper::heightUnitsStringExtraShort(), "");
  EXPECT_EQ(UnitsHelper::heightUnitsStringExtraShort2(), "in");
  setCurrentInterfaceLanguage("ru");
  EXPECT_EQ(UnitsHelper::heightUnitsStringExtraShort2(), "\"");
  EXPECT_EQ(UnitsHelper::weightUnitsStringShort(), "фунт");
  EXPECT_EQ(UnitsHelper::caloriesUnitsStringShort(), "ккал");

  chooseAll(2);  // unknown values: no text, fixed labels unaffected
  EXPECT_EQ(UnitsHelper::weightUnitsStringShort(), std::nullopt);
  EXPECT_EQ(UnitsHelper::heightUnitsStringExtraShort2(), std::nullopt);
  EXPECT_EQ(UnitsHelper::productWeightUnits(), std::nullopt);
  EXPECT_EQ(UnitsHelper::footsStringShort(), "фут");
}

TEST_F(UnitsFormattingTest, CaptionsNameTheUnitExceptForFeetAndInches) {
  chooseAll(0);
  EXPECT_EQ(UnitsHelper::weightUnitWithLabel("Weight"), "Weight, kg");
  EXPECT_EQ(UnitsHelper::heightLabelString(), "Height, cm");
  units().setHeightUnitsValue(HeightUnitsTypeInches);
  EXPECT_EQ(UnitsHelper::heightLabelString(), "Height");
  setCurrentInterfaceLanguage("ru");
  units().setWeightUnitsValue(WeightUnitsTypePounds);
  EXPECT_EQ(UnitsHelper::weightUnitWithLabel("Вес"), "Вес, фунт");
  EXPECT_EQ(UnitsHelper::loadLevelForIndex(2), "Умеренная активность");
}

}  // namespace
}  // namespace dm::test
