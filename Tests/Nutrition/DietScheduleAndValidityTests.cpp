// Meals laid against the meal schedule, alternatives offered by the stored course's preset,
// the device-only upload flag and the validity record.
#include <gtest/gtest.h>

#include "Nutrition/DietEntity.h"
#include "Nutrition/DietMealEntity.h"
#include "Nutrition/DietMealSchedule.h"
#include "Nutrition/DietValidObject.h"
#include "Platform/Foundation/Clock.h"
#include "Platform/Foundation/DateFormatting.h"
#include "Profile/ProfileTestSupport.h"
#include "Training/TrainingCourseEntity.h"

namespace dm {
namespace {

class DietScheduleTest : public test::ProfileStoreTest {
 protected:
  DietMealEntity* addMeal(DietEntity* diet, std::int64_t id, const char* time) {
    auto* meal = insert<DietMealEntity>();
    meal->setEntityID(id);
    if (time) meal->setConsumeTime(time);
    diet->addMealsObject(meal);
    return meal;
  }
};

TEST(MealSchedule, ReadsSortedMinutesAndFallsBackToTheUsualDay) {
  EXPECT_EQ(mealScheduleMinutes("13:00 07:00 19:30"), (std::vector<int>{420, 780, 1170}));
  EXPECT_EQ(mealScheduleMinutes(""), (std::vector<int>{420, 600, 780, 960, 1140}));
  // Unreadable words are skipped; nothing readable is the usual day.
  EXPECT_EQ(mealScheduleMinutes("8:00x  09:15"), (std::vector<int>{555}));
  EXPECT_EQ(mealScheduleMinutes("breakfast 25:00"), mealScheduleMinutes(""));
}

TEST_F(DietScheduleTest, MealsTakeTheirPlaceInTheSchedule) {
  perform([&] {
    auto* diet = insert<DietEntity>();
    EXPECT_TRUE(mealsAgainstSchedule(*diet, "").empty());
    addMeal(diet, 3, "19:45");
    addMeal(diet, 1, "08:15");
    addMeal(diet, 2, "13:00");
    addMeal(diet, 4, "20:30");
    auto meals = mealsAgainstSchedule(*diet, "13:00 08:00 19:00");
    ASSERT_EQ(meals.size(), 4u);
    EXPECT_EQ(meals[0].meal->entityID(), 1);
    EXPECT_EQ(meals[0].scheduledMinutes, 480);
    EXPECT_EQ(meals[0].minutesFromSchedule(), 15);
    EXPECT_EQ(meals[1].minutesFromSchedule(), 0);
    EXPECT_EQ(meals[2].minutesFromSchedule(), 45);
    // A meal beyond the schedule is held against its last time.
    EXPECT_EQ(meals[3].position, 3u);
    EXPECT_EQ(meals[3].scheduledMinutes, 1140);
    EXPECT_EQ(meals[3].minutesFromSchedule(), 90);
  });
}

TEST_F(DietScheduleTest, MealsWithoutReadableTimeAreShownAtTheScheduledTime) {
  perform([&] {
    auto* diet = insert<DietEntity>();
    addMeal(diet, 7, "12:30");
    addMeal(diet, 5, nullptr);
    addMeal(diet, 6, "1230");  // damaged: no ":"
    auto meals = mealsAgainstSchedule(*diet, "");
    ASSERT_EQ(meals.size(), 3u);
    // Unset and damaged times read as midnight, so they lead the day, by id.
    EXPECT_EQ(meals[0].meal->entityID(), 5);
    EXPECT_EQ(meals[1].meal->entityID(), 6);
    EXPECT_FALSE(meals[1].ownMinutes);
    EXPECT_EQ(meals[1].minutes(), 600);
    EXPECT_EQ(meals[1].minutesFromSchedule(), 0);
    EXPECT_EQ(meals[1].shownTime(), meals[1].scheduledTime());
    EXPECT_EQ(meals[2].minutes(), 750);
    EXPECT_EQ(meals[2].minutesFromSchedule(), -30);
  });
}

TEST_F(DietScheduleTest, AlternativesFollowTheStoredCoursePreset) {
  perform([&] {
    auto* diet = insert<DietEntity>();
    diet->setDate(Clock::shared()->now().addingTimeInterval(86400));
    EXPECT_FALSE(diet->showAlternatives());  // no course id
    diet->setCourseId(31);
    EXPECT_FALSE(diet->showAlternatives());  // the course is not stored
    auto* course = dynamic_cast<TrainingCourseEntity*>(
        context->insertNewObject(TrainingCourseEntity::kEntityName));
    course->setEntityID(31);
    EXPECT_FALSE(diet->showAlternatives());  // stored without preset
    course->setPresetId(4);
    EXPECT_TRUE(diet->showAlternatives());
    diet->setDate(Clock::shared()->now().addingTimeInterval(-2 * 86400));
    EXPECT_FALSE(diet->showAlternatives());  // a past day
  });
}

TEST_F(DietScheduleTest, UploadFlagIsNeitherReadFromAnswersNorLostByThem) {
  perform([&] {
    auto mapped =
        map("DietEntity",
            R"({"diet": {"id": 40, "needUploadToServer": true, "status": "created"}})", "diet");
    ASSERT_EQ(mapped.size(), 1u);
    auto* diet = dynamic_cast<DietEntity*>(mapped[0]);
    EXPECT_FALSE(diet->hasNeedUploadToServer());
    diet->setNeedUploadToServer(true);
    context->save();
    map("DietEntity", R"({"diet": {"id": 40, "status": "edited"}})", "diet");
    EXPECT_TRUE(diet->needUploadToServer());
    EXPECT_EQ(diet->status(), "edited");
  });
}

// Its keys are checked against the model with every other record's (ModelDeclarationsTests).
TEST(DietValidObjectRecord, ShowsItsDateAsTheScreensDo) {
  DietValidObject valid;
  EXPECT_EQ(valid.dateString(), "");
  auto day = dateFromString("2024-03-05 10:00", "yyyy-MM-dd HH:mm");
  ASSERT_TRUE(day);
  valid.setDate(*day);
  EXPECT_EQ(valid.dateString(), "05.03.2024");
}

}  // namespace
}  // namespace dm
