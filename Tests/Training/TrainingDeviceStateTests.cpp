// Device-side training state in the settings file (chosen alternatives, sides, charts, per-day
// percents and refresh times) and the request bodies that upload completed sets and workout
// results.
#include <gtest/gtest.h>

#include "Platform/Foundation/Clock.h"
#include "Platform/Foundation/EventCenter.h"
#include "Platform/Foundation/SettingsStore.h"
#include "Support/TempDir.h"
#include "Training/ExerciseCompletedSetEntity.h"
#include "Training/ExerciseCompletedSetUpdateEntity.h"
#include "Training/ExercisesUtils.h"
#include "Training/TrainingDayUtils.h"
#include "Training/TrainingRequests.h"
#include "Training/TrainingTestSupport.h"
#include "Training/WorkoutResultsEntity.h"
#include "Training/WorkoutResultsUpdateEntity.h"

namespace dm::test {
namespace {

// Device state lives in the settings file and ages by the shared clock.
class DeviceStateTest : public ::testing::Test {
 protected:
  void SetUp() override { Clock::setShared(clock); }
  void TearDown() override { Clock::setShared(nullptr); }
  std::shared_ptr<SettingsStore> open() {
    return std::make_shared<SettingsStore>(dir.path() / "Settings.json");
  }
  TempDir dir;
  std::shared_ptr<SettingsStore> settings = SettingsStore::inMemory();
  std::shared_ptr<FixedClock> clock = std::make_shared<FixedClock>(Date(1'780'000'000));
};

class ExercisesUtilsTest : public DeviceStateTest {
 protected:
  ExercisesUtils utils{settings};
};
using TrainingDayUtilsTest = DeviceStateTest;

TEST_F(ExercisesUtilsTest, ChosenAlternativeIsStoredPerExerciseAndAnnounced) {
  std::vector<std::int64_t> announced;
  auto token = EventCenter::defaultCenter()->addObserver(
      kAlternativePostExercisesChanged,
      [&](const Event& event) { announced.push_back(event.userInfo["exerciseId"]); });
  utils.setPostExerciseIdForExerciseId(701, 9, true);
  utils.setPostExerciseIdForExerciseId(702, 7, false);
  EXPECT_EQ(utils.postExerciseIdForExerciseId(701), 9);
  EXPECT_EQ(settings->dictionaryForKey("exercisesPostExercisesDict"),
            nlohmann::json::parse(R"({"701": 9, "702": 7})"));
  EXPECT_EQ(announced, (std::vector<std::int64_t>{701}));

  utils.setPostExerciseIdForExerciseId(701, std::nullopt, false);  // back to the main one
  EXPECT_EQ(utils.postExerciseIdForExerciseId(701), std::nullopt);
  utils.setPostExerciseIdForExerciseId(std::nullopt, 3, true);  // no exercise: nothing
  EXPECT_EQ(announced.size(), 1u);
  utils.resetPostExercisesAlternativesSelected();
  EXPECT_FALSE(settings->contains("exercisesPostExercisesDict"));
}

TEST_F(ExercisesUtilsTest, SecondSideIsDueForJustUnderAnHour) {
  EXPECT_EQ(utils.getSideOfExercise(5), 1);
  utils.setSideMadeForExercise(5);
  clock->advance(3599);
  EXPECT_EQ(utils.getSideOfExercise(5), 2);
  clock->advance(1);
  EXPECT_EQ(utils.getSideOfExercise(5), 1);

  utils.setSideMadeForExercise(5);  // a fresh first side
  EXPECT_EQ(utils.getSideOfExercise(5), 2);
  utils.setSideMadeForExercise(5);  // the second side completes the pair
  EXPECT_EQ(utils.getSideOfExercise(5), 1);
  EXPECT_TRUE(utils.exercisesSidesExercisesDict().empty());
}

TEST_F(ExercisesUtilsTest, ChartStateAndResetAll) {
  utils.setChartTabSelectedIndexForPostExerciseId(11, 2);
  utils.setChartDataLoadedFromInternetForPostExerciseId(11, Date(5));
  utils.setPostExerciseIdForExerciseId(1, 2, false);
  utils.setSideMadeForExercise(1);
  EXPECT_EQ(utils.chartTabSelectedIndexForPostExerciseId(11), 2);
  EXPECT_EQ(utils.chartTabSelectedIndexForPostExerciseId(12), 0);
  EXPECT_EQ(utils.chartDataLoadedFromInternetForPostExerciseId(11), Date(5));
  utils.resetAll();
  for (const char* key : {"exercisesPostExercisesDict", "exercisesSidesExercisesDict",
                          "chartTabSelectedIndexDict", "chartDataLoadedFromInternetDict"})
    EXPECT_FALSE(settings->contains(key)) << key;
}

TEST_F(TrainingDayUtilsTest, EverythingStoredIsReadBackAfterReopening) {
  {
    TrainingDayUtils utils(open());
    utils.setPercentForTrainingDayId(70, 42.5, false);
    utils.setPercentForTrainingDayId(std::nullopt, 10, false);  // nothing for no day
    utils.setTrainingDayUpdateDate(70, Date(1'779'990'000));
    utils.setTrainingDaysLoadedFromInternetDate(7, Date(1'779'000'000));
  }
  auto settings = open();
  TrainingDayUtils utils(settings);
  EXPECT_EQ(utils.percentForTrainingDayId(70), 42.5);
  EXPECT_EQ(utils.percentForTrainingDayId(71), std::nullopt);
  EXPECT_EQ(utils.trainingDayUpdateDate(70), Date(1'779'990'000));
  EXPECT_EQ(utils.trainingDaysUpdatedDate(7), Date(1'779'000'000));
  EXPECT_EQ(settings->dictionaryForKey("percentsTrainingDayIdsDict"),
            nlohmann::json::parse(R"({"70": 42.5})"));
  EXPECT_TRUE(settings->contains("trainingDayUpdateIdsDict"));
  EXPECT_TRUE(settings->contains("trainingDaysUpdatedDict"));

  utils.resetCaches();
  TrainingDayUtils again(open());
  EXPECT_EQ(again.percentForTrainingDayId(70), std::nullopt);
  EXPECT_EQ(again.trainingDayUpdateDate(70), std::nullopt);
  EXPECT_FALSE(again.trainingDaysLoadedFromInternet(7));
}

// A day is refreshed again after exactly one day; a course's days count as loaded for less
// than seven days. Neither holds for no identifier.
TEST_F(TrainingDayUtilsTest, RefreshThresholds) {
  struct Case {
    const char* name;
    void (TrainingDayUtils::*mark)(std::optional<std::int64_t>, Date);
    bool (TrainingDayUtils::*query)(std::optional<std::int64_t>) const;
    double threshold;
    bool beforeMarking, justBeforeThreshold, atThreshold;
  };
  for (const Case& c :
       {Case{"day refresh", &TrainingDayUtils::setTrainingDayUpdateDate,
             &TrainingDayUtils::shouldUpdateTrainingDay, 86400, true, false, true},
        Case{"course days loaded", &TrainingDayUtils::setTrainingDaysLoadedFromInternetDate,
             &TrainingDayUtils::trainingDaysLoadedFromInternet, 604800, false, true, false}}) {
    SCOPED_TRACE(c.name);
    TrainingDayUtils utils(SettingsStore::inMemory());
    EXPECT_FALSE((utils.*c.query)(std::nullopt));
    EXPECT_EQ((utils.*c.query)(70), c.beforeMarking);
    (utils.*c.mark)(70, clock->now());
    clock->advance(c.threshold - 1);
    EXPECT_EQ((utils.*c.query)(70), c.justBeforeThreshold);
    clock->advance(1);
    EXPECT_EQ((utils.*c.query)(70), c.atThreshold);
  }
}

TEST_F(TrainingDayUtilsTest, ChangedPercentIsAnnouncedOnlyWhenAsked) {
  std::vector<std::int64_t> announced;
  auto token = EventCenter::defaultCenter()->addObserver(
      kPercentTrainingDayIdChanged,
      [&](const Event& event) { announced.push_back(event.userInfo["trainingDayId"]); });
  TrainingDayUtils utils(SettingsStore::inMemory());
  utils.setPercentForTrainingDayId(70, 50, true);
  utils.setPercentForTrainingDayId(71, 60, false);
  utils.setPercentForTrainingDayId(std::nullopt, 70, true);
  EXPECT_EQ(announced, (std::vector<std::int64_t>{70}));
  EXPECT_EQ(utils.percentForTrainingDayId(71), 60);
}

using TrainingRequestsTest = TrainingStoreTest;

TEST_F(TrainingRequestsTest, CompletedSetsTravelInOneAddRequest) {
  perform([&] {
    auto* set = insert<ExerciseCompletedSetEntity>();
    set->setGuid("g-1");
    set->setValue(42.5);
    set->setRepeats(10);
    set->setValue_type(0);
    set->setExerciseId(701);
    set->setPostExerciseId(11);
    set->setCourseId(7);
    set->setResultGuid("r-1");
    auto body = training_requests::requestWithCompletedSets({set}, true)->serialized().toJson();
    ASSERT_TRUE(body);
    EXPECT_EQ(*body, nlohmann::json::parse(R"({"completedSets": [{"value": 42.5, "repeats": 10,
        "valueType": 0, "guid": "g-1", "exerciseId": 701, "postExerciseId": 11,
        "resultGuid": "r-1", "courseId": 7}], "autoCorrection": true})"));
  });
}

TEST_F(TrainingRequestsTest, CorrectionsAndResultsUseTheirServerSpellings) {
  perform([&] {
    auto* update = insert<ExerciseCompletedSetUpdateEntity>();
    update->setGuid("g-1");
    update->setRepeats(8);
    update->setComment("heavier");
    EXPECT_EQ(*training_requests::requestWithUpdate(*update)->serialized().toJson(),
              nlohmann::json::parse(R"({"guid": "g-1", "repeats": 8, "comment": "heavier"})"));

    auto* result = insert<WorkoutResultsEntity>();
    result->setGuid("r-1");
    result->setSteps(1200);
    result->setHeartRateAverage(130);
    result->setAllWeight(5400);
    result->setRestTimeAverage(95);
    EXPECT_EQ(*training_requests::requestWithWorkoutResults(*result)->serialized().toJson(),
              nlohmann::json::parse(R"({"guid": "r-1", "steps": 1200,
                  "heart_rate_average": 130, "all_weight": 5400.0,
                  "rest_time_average": 95.0})"));

    auto* resultUpdate = insert<WorkoutResultsUpdateEntity>();
    resultUpdate->fillFromWorkoutResults(*result);
    EXPECT_EQ(*training_requests::requestWithUpdate(*resultUpdate)->serialized().toJson(),
              nlohmann::json::parse(R"({"guid": "r-1", "steps": 1200,
                  "heartRateAverage": 130})"));
  });
}

}  // namespace
}  // namespace dm::test
