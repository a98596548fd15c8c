// The one-line recommendation of each exercise kind in English and Russian, metric and
// imperial, left to right and right to left.
#include <gtest/gtest.h>

#include "Platform/Foundation/LocaleServices.h"
#include "Training/ExerciseEntity.h"
#include "Training/TrainingTestSupport.h"

namespace dm::test {
namespace {

class ExerciseRecommendationTest : public TrainingStoreTest {
 protected:
  void SetUp() override {
    TrainingStoreTest::SetUp();
    UnitsHelper::sharedInstance().setPrefs(prefs);
    UnitsHelper::sharedInstance().setWeightUnitsValue(0);
    use("en_US", "en");
  }
  void TearDown() override {
    use("", "");
    UnitsHelper::sharedInstance().setPrefs(nullptr);
    TrainingStoreTest::TearDown();
  }
  static void use(const char* locale, const char* language) {
    setCurrentLocaleIdentifier(locale);
    setCurrentInterfaceLanguage(language);
  }
  ExerciseEntity* straight() {
    auto* exercise = insert<ExerciseEntity>();
    exercise->setSetType(ExerciseSetType::Straight);
    exercise->setHandbookType(ExerciseHandbookType::Power);
    exercise->setWeightType(ExerciseWeightType::Number);
    exercise->setRecommendedSets(3);
    exercise->setRecommendedRepeats(10);
    exercise->setRecommendedWeightValue(60);
    return exercise;
  }
};

TEST_F(ExerciseRecommendationTest, StraightPyramidAndCardioLinesInEnglishAndRussian) {
  perform([&] {
    auto* power = straight();
    EXPECT_EQ(power->recommendation(), "3x10x60 kg");

    auto* pyramid = straight();
    pyramid->setSetType(ExerciseSetType::Pyramid);
    pyramid->setRecommendedPyramidArray(nlohmann::json::parse(
        R"([{"repeats": 10, "weight": 60}, {"repeats": 8, "weight": 62.5}, {"repeats": 0}])"));
    EXPECT_EQ(pyramid->recommendation(), "10x60 kg - 8x62.5 kg - ?");
    EXPECT_EQ(pyramid->recomendationPyramidForSet(4), "62.5 kg");

    auto* cardio = straight();
    cardio->setHandbookType(ExerciseHandbookType::Cardio);
    cardio->setSets(3);
    cardio->recommendedDurationString = "30";
    cardio->recommendedMinimumPulse = "120";
    cardio->recommendedMaximumPulse = "140";
    EXPECT_EQ(cardio->recommendation(), "3x30 min, 120 - 140 bpm");
    cardio->recommendedDurationString = "";
    EXPECT_EQ(cardio->recommendation(), std::nullopt);

    auto* percent = straight();
    percent->setWeightType(ExerciseWeightType::PercentFromMaximum);
    percent->setRecommendedMaxWeightPercent(75);
    EXPECT_EQ(percent->recommendation(), "3x10x75% of max");

    use("ru_RU", "ru");
    EXPECT_EQ(pyramid->recommendation(), "10x60 кг - 8x62,5 кг - ?");
    cardio->recommendedDurationString = "30";
    EXPECT_EQ(cardio->recommendation(), "3x30 мин, 120 - 140 уд/мин");
  });
}

TEST_F(ExerciseRecommendationTest, ImperialUnitsConvertTheStoredKilograms) {
  perform([&] {
    UnitsHelper::sharedInstance().setWeightUnitsValue(1);
    auto* power = straight();
    power->setRecommendedWeightValue(45.359237);  // 100 lb
    EXPECT_EQ(power->recommendation(), "3x10x100 lbs");
  });
}

TEST_F(ExerciseRecommendationTest, RightToLeftIsolatesTheJoinerAndTheWholeLine) {
  perform([&] {
    use("ar", "ar");
    auto line = straight()->recommendation();
    ASSERT_TRUE(line);
    EXPECT_TRUE(line->starts_with("\u2067"));
    EXPECT_TRUE(line->ends_with("\u2069"));
    EXPECT_NE(line->find(" \u2067x\u2069 "), std::string::npos);
    EXPECT_EQ(ExerciseEntity::rtlIsolateIfNeeded(*line), line);  // not isolated twice
  });
}

TEST_F(ExerciseRecommendationTest, EditedWeightsArriveInTheUsersUnitsAndAreStoredInKilograms) {
  perform([&] {
    UnitsHelper::sharedInstance().setWeightUnitsValue(1);
    auto* power = straight();
    power->setRecommendedWeightValueString("12,5");
    EXPECT_NEAR(power->recommendedWeightValue(), UnitsHelper::weightToKG(12.5), 1e-9);
    EXPECT_LT(power->recommendedWeightValue(), 12.5);  // pounds became kilograms

    power->setRecommendedPyramidWithRepeats({10, 8}, {100, 110});
    auto steps = power->recommendedPyramid();
    ASSERT_EQ(steps.size(), 2u);
    EXPECT_EQ(steps[1]["repeats"], 8);
    EXPECT_NEAR(steps[0]["weight"].get<double>(), UnitsHelper::weightToKG(100), 1e-9);

    power->setWeightType(ExerciseWeightType::PercentFromMaximum);
    power->setRecommendedPyramidWithRepeats({5}, {80});
    EXPECT_EQ(power->recommendedPyramid()[0]["weight"], 80);  // percents are kept as given
    EXPECT_EQ(power->recommendedWeightValueStringForSet(0), "0");
  });
}

}  // namespace
}  // namespace dm::test
