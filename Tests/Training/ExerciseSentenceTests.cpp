// The one-line recommendation of each exercise kind, the recommendation sentence with its
// equipment wording, the repeats and weight explanations, the per-side comments and the
// completed-set titles, in English and Russian, metric and imperial, left to right and right
// to left.
#include <gtest/gtest.h>

#include "Handbook/Entities/HandbookPostExerciseEntity.h"
#include "Platform/Foundation/LocaleServices.h"
#include "Platform/Host/EquipmentTypeRules.h"
#include "Training/ExerciseCompletedSetEntity.h"
#include "Training/ExerciseCompletedSetUpdateEntity.h"
#include "Training/ExerciseEntity.h"
#include "Training/TrainingTestSupport.h"

namespace dm::test {
namespace {

// Equipment types of the test table.
enum : std::int64_t {
  kBarbell = 1,
  kSled = 22,
  kShortBar = 7,
  kStraightBar = 8,
  kAlternateLegs = 30,
  kDumbbell = 40,
  kMachine6 = 60,
  kOwnSentence = 50,
  kMissingSentence = 51,
  kPlain = 99,
};

class ExerciseSentenceTest : public TrainingStoreTest {
 protected:
  void SetUp() override {
    TrainingStoreTest::SetUp();
    UnitsHelper::sharedInstance().setPrefs(prefs);
    UnitsHelper::sharedInstance().setWeightUnitsValue(0);
    UnitsHelper::sharedInstance().setHeightUnitsValue(0);
    use("en_US", "en");
    EquipmentTypeTable table;
    table.rules[EquipmentTypeRule::BigBarRecomendation] = {kBarbell};
    table.rules[EquipmentTypeRule::RecommendedWeightWithBar] = {kBarbell};
    table.rules[EquipmentTypeRule::SmallStraightBarRecomendation] = {kStraightBar};
    table.rules[EquipmentTypeRule::InterchangeLeg] = {kAlternateLegs};
    table.rules[EquipmentTypeRule::OneArm] = {kDumbbell};
    table.rules[EquipmentTypeRule::OneArmExtraExplanation] = {kDumbbell};
    table.rules[EquipmentTypeRule::ExtraWeightExplanation6] = {kMachine6};
    table.recommendationKeys[kOwnSentence] = "10ExerciseStraight.Recomended";
    table.recommendationKeys[kMissingSentence] = "NoSuchSentence";
    EquipmentTypeRules::setShared(std::make_shared<EquipmentTypeRules>(table));

    auto storage = HandbookAdapter::shared().storage();
    storage->performOnSavingContextAndWait([&](ManagedObjectContext& handbook) {
      for (auto type : {kBarbell, kSled, kShortBar, kStraightBar, kAlternateLegs, kDumbbell,
                        kMachine6, kOwnSentence, kMissingSentence, kPlain}) {
        auto* post = dynamic_cast<HandbookPostExerciseEntity*>(
            handbook.insertNewObject(HandbookPostExerciseEntity::kEntityName));
        post->setEntityID(1000 + type);
        post->setExerciseTypeString("power");
        post->setEquipmentType(type);
      }
      handbook.save();
    });
  }
  void TearDown() override {
    EquipmentTypeRules::setShared(nullptr);
    use("", "");
    UnitsHelper::sharedInstance().setPrefs(nullptr);
    TrainingStoreTest::TearDown();
  }
  static void use(const char* locale, const char* language) {
    setCurrentLocaleIdentifier(locale);
    setCurrentInterfaceLanguage(language);
  }
  ExerciseEntity* exercise(std::int64_t equipment, double weight, std::int64_t repeats = 10) {
    auto* e = insert<ExerciseEntity>();
    e->setPostExerciseID(1000 + equipment);
    e->setSetType(ExerciseSetType::Straight);
    e->setHandbookType(ExerciseHandbookType::Power);
    e->setWeightType(ExerciseWeightType::Number);
    e->setRecommendedSets(3);
    e->setRecommendedRepeats(repeats);
    e->setRecommendedWeightValue(weight);
    return e;
  }
};

TEST_F(ExerciseSentenceTest, EquipmentDecidesTheSentenceAndBarsMustBeLighterThanTheWeight) {
  perform([&] {
    EXPECT_EQ(exercise(kPlain, 60)->recommendationNoRepeatsAndNoSetsForSet(0),
              "Recommended weight: 60 kg");
    EXPECT_EQ(exercise(kBarbell, 60)->recommendationNoRepeatsAndNoSetsForSet(0),
              "Recommended weight: 60 kg, including the 20 kg bar (220 cm long)");
    // An empty bar is no bar on top: the comparison is strict.
    EXPECT_EQ(exercise(kBarbell, 20)->recommendationNoRepeatsAndNoSetsForSet(0),
              "Recommended weight: 20 kg");
    EXPECT_EQ(exercise(kSled, 10)->recommendationNoRepeatsAndNoSetsForSet(0),
              "Recommended weight: 10 kg on top of the platform's own 60 kg");
    EXPECT_EQ(exercise(kShortBar, 8)->recommendationNoRepeatsAndNoSetsForSet(0),
              "Recommended weight: 8 kg");
    EXPECT_EQ(exercise(kStraightBar, 9)->recommendationNoRepeatsAndNoSetsForSet(0),
              "Recommended weight: 9 kg, including the 8.8 kg straight bar (120 cm long)");
    EXPECT_EQ(exercise(kOwnSentence, 5)->recommendationNoRepeatsAndNoSetsForSet(0),
              "Recommended weight: 5 kg on the machine's stack");
    EXPECT_EQ(exercise(kMissingSentence, 5)->recommendationNoRepeatsAndNoSetsForSet(0),
              "Recommended weight: 5 kg");
    EXPECT_EQ(exercise(kBarbell, 60)->recommendationNoRepeatsAndNoSetsForSet(0, "<b>", "</b>"),
              "Recommended weight: <b>60 kg</b>, including the 20 kg bar (220 cm long)");

    auto* pyramid = exercise(kBarbell, 0);
    pyramid->setSetType(ExerciseSetType::Pyramid);
    pyramid->setRecommendedPyramidArray(
        nlohmann::json::parse(R"([{"repeats": 12, "weight": 15}, {"repeats": 8, "weight": 70}])"));
    EXPECT_EQ(pyramid->recommendationNoRepeatsAndNoSetsForSet(2), "Recommended weight: 15 kg");
    EXPECT_EQ(pyramid->recommendationNoRepeatsAndNoSetsForSet(3),
              "Recommended weight: 70 kg, including the 20 kg bar (220 cm long)");

    auto* cardio = exercise(kPlain, 0);
    cardio->setHandbookType(ExerciseHandbookType::Cardio);
    cardio->recommendedDurationString = "30";
    cardio->recommendedMinimumPulse = "120";
    cardio->recommendedMaximumPulse = "140";
    EXPECT_EQ(cardio->recommendationNoRepeatsAndNoSetsForSet(0, "<b>", "</b>"),
              "Recommended: <b>30 min, 120 - 140 bpm</b>");
    cardio->recommendedDurationString = "0";
    EXPECT_EQ(cardio->recommendationNoRepeatsAndNoSetsForSet(0), std::nullopt);
    EXPECT_EQ(exercise(kPlain, 0)->recommendationNoRepeatsAndNoSetsForSet(0), std::nullopt);
  });
}

TEST_F(ExerciseSentenceTest, SentenceInRussianImperialAndRightToLeft) {
  perform([&] {
    auto* barbell = exercise(kBarbell, 62.5);
    use("ru_RU", "ru");
    EXPECT_EQ(barbell->recommendationNoRepeatsAndNoSetsForSet(0),
              "Рекомендуемый вес: 62,5 кг, включая гриф 20 кг (длина 220 см)");

    use("en_US", "en");
    UnitsHelper::sharedInstance().setWeightUnitsValue(1);
    UnitsHelper::sharedInstance().setHeightUnitsValue(1);
    auto sentence = barbell->recommendationNoRepeatsAndNoSetsForSet(0);
    ASSERT_TRUE(sentence);
    EXPECT_TRUE(sentence->starts_with("Recommended weight: 13"));  // pounds, not kilograms
    EXPECT_NE(sentence->find("lbs bar"), std::string::npos);
    EXPECT_NE(sentence->find(" in long)"), std::string::npos);

    // The weight arrives isolated right to left; the bar test must still see its number.
    UnitsHelper::sharedInstance().setWeightUnitsValue(0);
    UnitsHelper::sharedInstance().setHeightUnitsValue(0);
    use("en_US", "ar");
    auto isolated = barbell->recommendationNoRepeatsAndNoSetsForSet(0);
    ASSERT_TRUE(isolated);
    EXPECT_NE(isolated->find("\u2067"), std::string::npos);
    EXPECT_NE(isolated->find("bar"), std::string::npos);
  });
}

TEST_F(ExerciseSentenceTest, ExplanationsStackSideBarOneArmExtraAndDefaultInThatOrder) {
  perform([&] {
    EXPECT_EQ(exercise(kPlain, 60)->repeatsExplanationText(),
              "Do the number of repeats shown for each set.");
    EXPECT_EQ(exercise(kDumbbell, 10)->repeatsExplanationText(),
              "Do the number of repeats shown with each arm.");
    auto* cardio = exercise(kPlain, 0);
    cardio->setHandbookType(ExerciseHandbookType::Cardio);
    cardio->setSets(0);
    EXPECT_EQ(cardio->repeatsExplanationText(), "Do the number of repeats shown for each set.");
    cardio->setSets(2);
    EXPECT_EQ(cardio->repeatsExplanationText(),
              "Keep going for the number of minutes shown for each set.");
    EXPECT_EQ(cardio->weigthExplanationText(), std::nullopt);

    const std::string defaultText =
        "Choose a weight with which the last repeats of each set are hard but your technique "
        "stays clean.";
    EXPECT_EQ(exercise(kPlain, 60)->weigthExplanationText(), defaultText);
    EXPECT_EQ(exercise(kBarbell, 60)->weigthExplanationText(),
              "The weight includes the bar.\n\n" + defaultText);
    EXPECT_EQ(exercise(kDumbbell, 10)->weigthExplanationText(),
              "The repeats are counted for one arm: do the same with the other arm.\n\n"
              "The weight is for one dumbbell held in one hand.\n\n" +
                  defaultText);
    auto machine = exercise(kMachine6, 30)->weigthExplanationText();
    ASSERT_TRUE(machine);
    EXPECT_TRUE(
        machine->starts_with("The machine's platform weighs about 60 kg on its own (42 kg"));
    EXPECT_TRUE(machine->ends_with(defaultText));

    auto* percent = exercise(kPlain, 0);
    percent->setWeightType(ExerciseWeightType::PercentFromMaximum);
    UnitsHelper::sharedInstance().setWeightUnitsValue(1);
    EXPECT_EQ(percent->weigthExplanationText(),
              "The weight is a percentage of your one-repeat maximum. If your maximum is 100 lbs, "
              "75% means 75 lbs; round to the nearest weight you have, in lbs.");
  });
}

TEST_F(ExerciseSentenceTest, AlternatingSidesHalveTheRepeatsAboveTheTrainersComment) {
  perform([&] {
    auto* legs = exercise(kAlternateLegs, 0, 9);
    EXPECT_EQ(legs->fixedCommentForSet(0), "4 repeats with each leg");
    legs->setComment("Keep the back straight");
    EXPECT_EQ(legs->fixedCommentForSet(0), "4 repeats with each leg\nKeep the back straight");
    legs->setRecommendedRepeats(3);
    EXPECT_EQ(legs->fixedCommentForSet(0), "1 repeat with each leg\nKeep the back straight");
    legs->setRecommendedRepeats(1);  // nothing to split
    EXPECT_EQ(legs->fixedCommentForSet(0), "Keep the back straight");

    use("ru_RU", "ru");
    legs->setComment("");
    for (auto [repeats, expected] :
         std::vector<std::pair<int, std::string>>{{2, "1 повторение каждой ногой"},
                                                  {6, "3 повторения каждой ногой"},
                                                  {10, "5 повторений каждой ногой"},
                                                  {42, "21 повторение каждой ногой"},
                                                  {24, "12 повторений каждой ногой"}}) {
      legs->setRecommendedRepeats(repeats);
      EXPECT_EQ(legs->fixedCommentForSet(0), expected) << repeats;
    }
    EXPECT_EQ(exercise(kPlain, 10)->fixedCommentForSet(0), std::nullopt);
  });
}

TEST_F(ExerciseSentenceTest, CompletedSetTitlesPerKindUnitAndLanguage) {
  using Set = ExerciseCompletedSetEntity;
  perform([&] {
    EXPECT_EQ(Set::titleForExerciseType(0, 60, 10), "60 kg x 10 reps");
    EXPECT_EQ(Set::titleForExerciseType(0, 0, 1), "1 rep");
    EXPECT_EQ(Set::titleForExerciseType(7, 60, 10), "60 kg x 10 reps");  // unknown reads as power
    EXPECT_EQ(Set::titleForExerciseType(1, 12.5, 130), "12.5 min - 130 bpm");
    EXPECT_EQ(Set::titleForExerciseType(1, 12, 0), "12 min");
    EXPECT_EQ(Set::titleForExerciseType(2, 0, 1), "1 repeat");
    EXPECT_EQ(Set::titleForExerciseType(3, 45, 0), "45 seconds");
    EXPECT_EQ(Set::sumTitleForExerciseType(0, 600, 30), "30 repeats   600 kg");
    EXPECT_EQ(Set::sumTitleForExerciseType(1, 20, 140), "20 minutes   140 bpm");
    EXPECT_EQ(Set::chartAboutAnnotationForExerciseType(4), std::nullopt);
    EXPECT_EQ(Set::chartRightTitleForExerciseType(9), "Repeats");
    EXPECT_EQ(Set::chartRightTitleForExerciseType(1), "Sets");
    EXPECT_EQ(Set::chartLeftTitleForExerciseType(0), "kg");

    UnitsHelper::sharedInstance().setWeightUnitsValue(1);
    EXPECT_EQ(Set::titleForExerciseType(0, 45.359237, 8), "100 lbs x 8 reps");
    EXPECT_EQ(Set::sumTitleForExerciseType(0, 45.359237, 8), "8 repeats   100 lbs");

    UnitsHelper::sharedInstance().setWeightUnitsValue(0);
    use("ru_RU", "ru");
    EXPECT_EQ(Set::titleForExerciseType(0, 62.5, 10), "62,5 кг x 10 повт.");
    EXPECT_EQ(Set::titleForExerciseType(2, 0, 21), "21 повторение");
    EXPECT_EQ(Set::titleForExerciseType(2, 0, 3), "3 повторения");
    EXPECT_EQ(Set::titleForExerciseType(3, 11, 0), "11 секунд");
    EXPECT_EQ(Set::titleForExerciseType(3, 1.5, 0), "1,5 секунды");
    EXPECT_EQ(Set::sumTitleForExerciseType(1, 5, 0), "5 минут");

    // An instance shows its correction, and a correction without repeats wins.
    auto* set = insert<ExerciseCompletedSetEntity>();
    set->setGuid("s-1");
    set->setValue(50);
    set->setRepeats(10);
    use("en_US", "en");
    EXPECT_EQ(set->titleForExerciseType(0), "50 kg x 10 reps");
    auto* correction = insert<ExerciseCompletedSetUpdateEntity>();
    correction->setGuid("s-1");
    correction->setValue(55);
    context->save();
    EXPECT_EQ(set->titleForExerciseType(0), "55 kg x 0 reps");
    EXPECT_EQ(set->chartLeftValueForExerciseType(0), 55);
    EXPECT_EQ(set->chartRightValueForExerciseType(0), std::nullopt);
    EXPECT_EQ(set->chartRightValueForExerciseType(2), std::nullopt);
  });
}

TEST_F(ExerciseSentenceTest, StraightPyramidAndCardioLinesInEnglishRussianAndPounds) {
  perform([&] {
    auto* power = exercise(kPlain, 60);
    EXPECT_EQ(power->recommendation(), "3x10x60 kg");

    auto* pyramid = exercise(kPlain, 60);
    pyramid->setSetType(ExerciseSetType::Pyramid);
    pyramid->setRecommendedPyramidArray(nlohmann::json::parse(
        R"([{"repeats": 10, "weight": 60}, {"repeats": 8, "weight": 62.5}, {"repeats": 0}])"));
    EXPECT_EQ(pyramid->recommendation(), "10x60 kg - 8x62.5 kg - ?");
    EXPECT_EQ(pyramid->recomendationPyramidForSet(4), "62.5 kg");

    auto* cardio = exercise(kPlain, 60);
    cardio->setHandbookType(ExerciseHandbookType::Cardio);
    cardio->setSets(3);
    cardio->recommendedDurationString = "30";
    cardio->recommendedMinimumPulse = "120";
    cardio->recommendedMaximumPulse = "140";
    EXPECT_EQ(cardio->recommendation(), "3x30 min, 120 - 140 bpm");
    cardio->recommendedDurationString = "";
    EXPECT_EQ(cardio->recommendation(), std::nullopt);

    auto* percent = exercise(kPlain, 60);
    percent->setWeightType(ExerciseWeightType::PercentFromMaximum);
    percent->setRecommendedMaxWeightPercent(75);
    EXPECT_EQ(percent->recommendation(), "3x10x75% of max");

    UnitsHelper::sharedInstance().setWeightUnitsValue(1);
    power->setRecommendedWeightValue(45.359237);  // 100 lb
    EXPECT_EQ(power->recommendation(), "3x10x100 lbs");
    UnitsHelper::sharedInstance().setWeightUnitsValue(0);

    use("ru_RU", "ru");
    EXPECT_EQ(pyramid->recommendation(), "10x60 кг - 8x62,5 кг - ?");
    cardio->recommendedDurationString = "30";
    EXPECT_EQ(cardio->recommendation(), "3x30 мин, 120 - 140 уд/мин");
  });
}

TEST_F(ExerciseSentenceTest, RightToLeftIsolatesTheJoinerAndTheWholeLine) {
  perform([&] {
    use("ar", "ar");
    auto line = exercise(kPlain, 60)->recommendation();
    ASSERT_TRUE(line);
    EXPECT_TRUE(line->starts_with("\u2067"));
    EXPECT_TRUE(line->ends_with("\u2069"));
    EXPECT_NE(line->find(" \u2067x\u2069 "), std::string::npos);
    EXPECT_EQ(ExerciseEntity::rtlIsolateIfNeeded(*line), line);  // not isolated twice
  });
}

TEST_F(ExerciseSentenceTest, EditedWeightsArriveInTheUsersUnitsAndAreStoredInKilograms) {
  perform([&] {
    UnitsHelper::sharedInstance().setWeightUnitsValue(1);
    auto* power = exercise(kPlain, 60);
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
