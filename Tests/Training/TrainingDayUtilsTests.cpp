// Per-day percents and refresh times in the settings file: kept across reopening, the
// one-day and seven-day thresholds, and the announcement of a changed percent.
#include <gtest/gtest.h>

#include "Platform/Foundation/Clock.h"
#include "Platform/Foundation/EventCenter.h"
#include "Platform/Foundation/SettingsStore.h"
#include "Support/TempDir.h"
#include "Training/TrainingDayUtils.h"

namespace dm::test {
namespace {

class TrainingDayUtilsTest : public ::testing::Test {
 protected:
  void SetUp() override { Clock::setShared(clock); }
  void TearDown() override { Clock::setShared(nullptr); }
  std::shared_ptr<SettingsStore> open() {
    return std::make_shared<SettingsStore>(dir.path() / "Settings.json");
  }
  TempDir dir;
  std::shared_ptr<FixedClock> clock = std::make_shared<FixedClock>(Date(1'780'000'000));
};

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

TEST_F(TrainingDayUtilsTest, DayIsRefreshedAgainAfterExactlyOneDay) {
  TrainingDayUtils utils(SettingsStore::inMemory());
  EXPECT_FALSE(utils.shouldUpdateTrainingDay(std::nullopt));
  EXPECT_TRUE(utils.shouldUpdateTrainingDay(70));  // never refreshed
  utils.setTrainingDayUpdateDate(70, clock->now());
  clock->advance(86399);
  EXPECT_FALSE(utils.shouldUpdateTrainingDay(70));
  clock->advance(1);
  EXPECT_TRUE(utils.shouldUpdateTrainingDay(70));
}

TEST_F(TrainingDayUtilsTest, CourseDaysCountAsLoadedForLessThanSevenDays) {
  TrainingDayUtils utils(SettingsStore::inMemory());
  EXPECT_FALSE(utils.trainingDaysLoadedFromInternet(std::nullopt));
  EXPECT_FALSE(utils.trainingDaysLoadedFromInternet(7));
  utils.setTrainingDaysLoadedFromInternetDate(7, clock->now());
  clock->advance(604799);
  EXPECT_TRUE(utils.trainingDaysLoadedFromInternet(7));
  clock->advance(1);
  EXPECT_FALSE(utils.trainingDaysLoadedFromInternet(7));
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

}  // namespace
}  // namespace dm::test
