// Rounding, snapping and conversion boundaries of UnitsHelper.
#include <gtest/gtest.h>

#include "UnitsTestFixture.h"

namespace dm::test {
namespace {

// The float-precision value the rounding operations give back, widened as they widen it.
double f(float value) {
  return static_cast<double>(value);
}

TEST(UnitsRoundingTest, WholeNumbersRoundHalvesAwayFromZeroInSinglePrecision) {
  EXPECT_EQ(UnitsHelper::RoundNearestEven(2.5), 3);
  EXPECT_EQ(UnitsHelper::RoundNearestEven(-2.5), -3);
  EXPECT_EQ(UnitsHelper::RoundNearestEven(3.5), 4);  // not banker's rounding
  EXPECT_EQ(UnitsHelper::RoundNearestEven(2.4999), 2);
  EXPECT_EQ(UnitsHelper::RoundNearestEven(2.5001), 3);
  // Narrowed to float first: this double lies below 2.5 but its float is 2.5.
  EXPECT_EQ(UnitsHelper::RoundNearestEven(2.49999999999), 3);
}

TEST(UnitsRoundingTest, TenthsRoundHalvesAwayFromZeroInSinglePrecision) {
  EXPECT_EQ(UnitsHelper::RoundNearest(0.05), f(0.1f));
  EXPECT_EQ(UnitsHelper::RoundNearest(-0.05), f(-0.1f));
  EXPECT_EQ(UnitsHelper::RoundNearest(0.0499), 0);
  EXPECT_EQ(UnitsHelper::RoundNearest(0.25), f(0.3f));
  // 1.15 * 10 is 11.4999... in double but 11.5 in float, so it goes up.
  EXPECT_EQ(UnitsHelper::RoundNearest(1.15), f(1.2f));
  // The result is the float tenth, not the nearest double.
  EXPECT_EQ(UnitsHelper::RoundNearest(70.3), f(70.3f));
  EXPECT_NE(UnitsHelper::RoundNearest(70.3), 70.3);
}

TEST(UnitsRoundingTest, ExerciseWeightsSnapToFivePoundsAboveTen) {
  struct Case {
    double kilograms;
    double pounds;
  };
  // kilograms chosen so that kg * 2.20462 lands on each side of the thresholds.
  const Case cases[] = {
      {4.5, 10},   // 9.92 -> 10, not snapped (10 is not above 10)
      {4.76, 10},  // 10.49 -> 10
      {4.77, 10},  // 10.52 -> 11 -> snapped down to 10
      {5.44, 10},  // 11.99 -> 12 -> 10
      {10, 20},    // 22.05 -> 22 -> 20 (remainder 2 goes down)
      {10.5, 25},  // 23.15 -> 23 -> 25 (remainder 3 goes up)
      {6.35, 15},  // 14.00 -> 14 -> 15
      {6.8, 15},   // 14.99 -> 15 stays
      {7.49, 15},  // 16.51 -> 17 -> 15
      {8.17, 20},  // 18.01 -> 18 -> 20
      {100, 220},  // 220.46 -> 220 stays
      {-3, -7},    // never snapped below 10
  };
  for (const auto& c : cases) {
    EXPECT_EQ(UnitsHelper::kgToLBSForExercise(c.kilograms), c.pounds) << c.kilograms << " kg";
  }
}

TEST(UnitsRoundingTest, PlainConversions) {
  EXPECT_EQ(UnitsHelper::kgToLBS(70), 154);
  EXPECT_EQ(UnitsHelper::kgToLBSWithTenth(70), f(154.3f));
  EXPECT_DOUBLE_EQ(UnitsHelper::lbsToKG(100), 45.3592);  // not rounded
  EXPECT_EQ(UnitsHelper::cmToIn(20), f(7.9f));
  EXPECT_EQ(UnitsHelper::cmToInEven(20), 8);
  EXPECT_DOUBLE_EQ(UnitsHelper::inToCM(10), 25.4);
  EXPECT_DOUBLE_EQ(UnitsHelper::heightToCMFootsInches(5, 11), 152.4 + 27.94);
  EXPECT_DOUBLE_EQ(UnitsHelper::heightToCMFootsInches(4, 0), 121.92);
}

using UnitsConversionTest = UnitsTest;

TEST_F(UnitsConversionTest, FahrenheitIsTruncatedTowardZero) {
  units().setTemperatureUnitsValue(TemperatureUnitsTypeFahrenheit);
  EXPECT_EQ(UnitsHelper::tempertureFromCelsium(0), 32);
  EXPECT_EQ(UnitsHelper::tempertureFromCelsium(100), 212);
  EXPECT_EQ(UnitsHelper::tempertureFromCelsium(37), 98);  // 98.6, not rounded to 99
  EXPECT_EQ(UnitsHelper::tempertureFromCelsium(36), 96);  // 96.8
  EXPECT_EQ(UnitsHelper::tempertureFromCelsium(-40), -40);
  EXPECT_EQ(UnitsHelper::tempertureFromCelsium(-18), 0);                  // -0.4 truncates up to 0
  EXPECT_EQ(UnitsHelper::tempertureFromCelsium(-19), -2);                 // -2.2
  EXPECT_EQ(UnitsHelper::tempertureFromCelsium(2000000000), 2147483647);  // saturates

  units().setTemperatureUnitsValue(TemperatureUnitsTypeCelsius);
  EXPECT_EQ(UnitsHelper::tempertureFromCelsium(37), 37);
  units().setTemperatureUnitsValue(2);
  EXPECT_EQ(UnitsHelper::tempertureFromCelsium(37), 0);
}

TEST_F(UnitsConversionTest, WeightsFollowTheWeightSetting) {
  units().setWeightUnitsValue(WeightUnitsTypePounds);
  EXPECT_EQ(UnitsHelper::weightToUnits(70), f(154.3f));
  EXPECT_EQ(UnitsHelper::weightToUnitsWithTenth(70, false), 154);
  EXPECT_EQ(UnitsHelper::weightToUnitsTarget(10, true), 20);
  EXPECT_EQ(UnitsHelper::weightToUnitsTarget(10, false), f(22.0f));
  EXPECT_DOUBLE_EQ(UnitsHelper::weightToKG(100), 45.3592);

  units().setWeightUnitsValue(WeightUnitsTypeKilograms);
  EXPECT_EQ(UnitsHelper::weightToUnits(70.26), f(70.3f));
  EXPECT_EQ(UnitsHelper::weightToUnitsTarget(70.26, true), f(70.3f));
  EXPECT_EQ(UnitsHelper::weightToKG(70.26), 70.26);

  units().setWeightUnitsValue(7);  // unknown: passed through untouched
  EXPECT_EQ(UnitsHelper::weightToUnits(70.26), 70.26);
  EXPECT_EQ(UnitsHelper::weightToUnitsTarget(70.26, true), 70.26);
  EXPECT_EQ(UnitsHelper::weightToKG(70.26), 70.26);
}

TEST_F(UnitsConversionTest, HeightsFollowTheHeightSetting) {
  units().setHeightUnitsValue(HeightUnitsTypeInches);
  EXPECT_DOUBLE_EQ(UnitsHelper::heightToCM(70), 177.8);
  EXPECT_EQ(UnitsHelper::heightValueInUnits(180.0), f(70.9f));
  EXPECT_EQ(UnitsHelper::heightValueInUnits(std::nullopt), 0);

  units().setHeightUnitsValue(HeightUnitsTypeCentimetres);
  EXPECT_EQ(UnitsHelper::heightToCM(70), 70);
  EXPECT_EQ(UnitsHelper::heightValueInUnits(180.25), f(180.3f));

  units().setHeightUnitsValue(3);
  EXPECT_EQ(UnitsHelper::heightToCM(70), 70);
  // Read as float, so an unknown setting hands back the float value.
  EXPECT_EQ(UnitsHelper::heightValueInUnits(180.3), f(180.3f));
}

TEST_F(UnitsConversionTest, FoodWeightsUseTheOunceOf28_3495Grams) {
  units().setWeightMealUnitsValue(MealWeightUnitsTypeOunces);
  EXPECT_NEAR(UnitsHelper::grammWeightInUnits(28.3495), 1.0, 1e-6);
  EXPECT_NEAR(UnitsHelper::grammWeightInUnits(100.0), 3.527399, 1e-6);
  EXPECT_NEAR(*UnitsHelper::grammWeightFromUnits(1.0), 28.3495, 1e-6);
  EXPECT_NEAR(*UnitsHelper::grammWeightFromUnits(UnitsHelper::grammWeightInUnits(250.0)), 250.0,
              1e-4);
  EXPECT_EQ(*UnitsHelper::grammWeightFromUnits(std::nullopt), 0);

  units().setWeightMealUnitsValue(MealWeightUnitsTypeGrams);
  EXPECT_EQ(UnitsHelper::grammWeightInUnits(100.1), f(100.1f));
  EXPECT_EQ(UnitsHelper::grammWeightFromUnits(100.1), 100.1);  // the value as given
  EXPECT_EQ(UnitsHelper::grammWeightFromUnits(std::nullopt), std::nullopt);

  units().setWeightMealUnitsValue(2);
  EXPECT_EQ(UnitsHelper::grammWeightInUnits(100.0), 100);
  EXPECT_EQ(UnitsHelper::grammWeightFromUnits(100.0), std::nullopt);
}

TEST_F(UnitsConversionTest, FeetAndInchesSplitWithoutCarry) {
  const auto tall = UnitsHelper::heightFootsInchesForValue(182.8);
  EXPECT_EQ(tall.feet, 5u);
  EXPECT_EQ(tall.inches, 12);  // no carry here, unlike the text

  const auto justUnder = UnitsHelper::heightFootsInchesForValue(30.4);
  EXPECT_EQ(justUnder.feet, std::nullopt);
  EXPECT_EQ(justUnder.inches, 12);

  const auto oneFoot = UnitsHelper::heightFootsInchesForValue(30.5);
  EXPECT_EQ(oneFoot.feet, 1u);
  EXPECT_EQ(oneFoot.inches, 0);

  EXPECT_EQ(UnitsHelper::heightFootsInchesForValue(std::nullopt).feet, std::nullopt);
  EXPECT_EQ(UnitsHelper::heightFootsInchesForValue(-100.0).feet, std::nullopt);
}

TEST_F(UnitsConversionTest, RangesInTheUserUnitsAndInMetric) {
  EXPECT_EQ(UnitsHelper::makeRangeMax(12.9, 100.5), (UnitRange{12, 87}));
  EXPECT_EQ(UnitsHelper::makeRangeMax(-5, -10), (UnitRange{0, 0}));
  EXPECT_EQ(UnitsHelper::ageRange(), (UnitRange{12, 88}));

  chooseAll(0);
  EXPECT_EQ(UnitsHelper::weightRange(), (UnitRange{35, 145}));
  EXPECT_EQ(UnitsHelper::weightRangeInC(), (UnitRange{35, 145}));
  EXPECT_EQ(UnitsHelper::heightRange(), (UnitRange{120, 110}));
  EXPECT_EQ(UnitsHelper::heightRangeInC(), (UnitRange{120, 110}));

  chooseAll(1);
  EXPECT_EQ(UnitsHelper::weightRange(), (UnitRange{75, 325}));
  EXPECT_EQ(UnitsHelper::weightRangeInC(), (UnitRange{34, 147}));
  EXPECT_EQ(UnitsHelper::heightRange(), (UnitRange{4, 4}));
  EXPECT_EQ(UnitsHelper::heightRangeInC(), (UnitRange{121, 121}));

  // An unknown setting picks the imperial span but converts nothing.
  chooseAll(2);
  EXPECT_EQ(UnitsHelper::weightRangeInC(), (UnitRange{75, 325}));
  EXPECT_EQ(UnitsHelper::heightRangeInC(), (UnitRange{121, 121}));
}

}  // namespace
}  // namespace dm::test
