// A course's diets by calendar day: both end days count whole, midnight in the current time
// zone, days that a daylight-saving change makes 23 or 25 hours long, invalid diets, undated
// diets, and deletion by date that reaches the file.
#include <set>

#include <gtest/gtest.h>

#include "Nutrition/DietEntity.h"
#include "Platform/Foundation/Clock.h"
#include "Platform/Foundation/DateFormatting.h"
#include "Platform/Foundation/LocaleServices.h"
#include "Training/TrainingCourseEntity.h"
#include "Training/TrainingTestSupport.h"

namespace dm::test {
namespace {

class CourseDietsTest : public TrainingStoreTest {
 protected:
  void SetUp() override {
    TrainingStoreTest::SetUp();
    savedZone = currentTimeZoneIdentifier();
    ASSERT_TRUE(setCurrentTimeZoneIdentifier("Europe/Berlin"));
  }
  void TearDown() override {
    setCurrentTimeZoneIdentifier(savedZone);
    TrainingStoreTest::TearDown();
  }
  // Local time in the current zone.
  static Date at(const char* text) {
    auto date = dateFromString(text, "yyyy-MM-dd HH:mm:ss");
    EXPECT_TRUE(date.has_value()) << text;
    return date.value_or(Date());
  }
  TrainingCourseEntity* course() {
    auto* course = insert<TrainingCourseEntity>();
    course->setEntityID(501);
    return course;
  }
  DietEntity* diet(TrainingCourseEntity* course, std::int64_t id, std::optional<Date> date,
                   bool notValid = false) {
    auto* diet = insert<DietEntity>();
    diet->setEntityID(id);
    diet->setCourseId(course->entityID());
    if (date) diet->setDate(*date);
    if (notValid) diet->setNotValid(true);
    course->addDietsObject(diet);
    return diet;
  }
  static std::set<std::int64_t> ids(const std::vector<DietEntity*>& diets) {
    std::set<std::int64_t> out;
    for (auto* diet : diets) out.insert(diet->entityID());
    return out;
  }
  std::string savedZone;
};

TEST_F(CourseDietsTest, BothEndDaysCountWholeWhateverTheTimeOfDay) {
  perform([&] {
    auto* c = course();
    diet(c, 1, at("2026-06-09 23:59:59"));  // the day before start
    diet(c, 2, at("2026-06-10 00:00:00"));  // midnight opening the start day
    diet(c, 3, at("2026-06-12 12:00:00"));
    diet(c, 4, at("2026-06-14 23:59:59"));  // last second of the end day
    diet(c, 5, at("2026-06-15 00:00:00"));  // midnight after the end day
    diet(c, 6, std::nullopt);               // undated: never in a range
    auto found = c->dietsInInterval(at("2026-06-10 18:30:00"), at("2026-06-14 08:00:00"));
    EXPECT_EQ(ids(found), (std::set<std::int64_t>{2, 3, 4}));
    // Seen from New York (six hours behind), Berlin's midnights fall on the evening before.
    ASSERT_TRUE(setCurrentTimeZoneIdentifier("America/New_York"));
    found = c->dietsInInterval(at("2026-06-10 18:30:00"), at("2026-06-14 08:00:00"));
    EXPECT_EQ(ids(found), (std::set<std::int64_t>{3, 4, 5}));
  });
}

TEST_F(CourseDietsTest, DaysShortenedOrLengthenedByTheClockChangeStayWhole) {
  perform([&] {
    auto* c = course();
    // Spring forward in Berlin: 29 March 2026 has 23 hours.
    diet(c, 1, at("2026-03-29 00:00:00"));
    diet(c, 2, at("2026-03-29 23:30:00"));
    diet(c, 3, at("2026-03-30 00:00:00"));
    auto start = at("2026-03-29 12:00:00");
    EXPECT_EQ(ids(c->dietsInInterval(start, start)), (std::set<std::int64_t>{1, 2}));
    // Fall back: 25 October 2026 has 25 hours.
    diet(c, 4, at("2026-10-25 00:00:00"));
    diet(c, 5, at("2026-10-25 23:59:59"));
    diet(c, 6, at("2026-10-26 00:00:00"));
    auto autumn = at("2026-10-25 02:30:00");
    EXPECT_EQ(ids(c->dietsInInterval(autumn, autumn)), (std::set<std::int64_t>{4, 5}));
    EXPECT_TRUE(c->hasDietsInInterval(autumn, autumn));
    EXPECT_FALSE(c->hasDietsInInterval(at("2026-10-27 10:00:00"), at("2026-10-28 10:00:00")));
  });
}

TEST_F(CourseDietsTest, InvalidDietCountsOnlyInsideTheRange) {
  perform([&] {
    auto* c = course();
    diet(c, 1, at("2026-06-10 09:00:00"));
    diet(c, 2, at("2026-06-20 09:00:00"), /*notValid=*/true);
    EXPECT_FALSE(
        c->hasInvalidDietsInInterval(at("2026-06-01 00:00:00"), at("2026-06-19 22:00:00")));
    EXPECT_TRUE(c->hasInvalidDietsInInterval(at("2026-06-01 00:00:00"), at("2026-06-20 00:00:00")));
    auto* empty = insert<TrainingCourseEntity>();
    EXPECT_TRUE(
        empty->dietsInInterval(at("2026-06-01 00:00:00"), at("2026-07-01 00:00:00")).empty());
  });
}

TEST_F(CourseDietsTest, MappedDietsJoinTheirCourseAndUnreadableDatesAreKeptUndated) {
  perform([&] {
    map("TrainingCourseEntity", R"({"course": {"id": 501, "name": "C"}})", "course");
    map("DietEntity", R"({"diets": [
          {"id": 1, "course_id": 501, "date": "2026-06-10T08:00:00+02:00"},
          {"id": 2, "course_id": 501, "date": "31.02.2026"},
          {"id": 3, "course_id": 501, "date": ["no"]}]})",
        "diets");
    auto* c = TrainingCourseEntity::entity(*context, 501);
    ASSERT_NE(c, nullptr);
    EXPECT_EQ(c->diets().size(), 3u);
    auto found = c->dietsInInterval(at("2000-01-01 00:00:00"), at("2100-01-01 00:00:00"));
    EXPECT_EQ(ids(found), (std::set<std::int64_t>{1}));
    // Deleting by date leaves the undated diets alone.
    c->deleteDietsByDatesWithCondition([](Date) { return true; });
    EXPECT_EQ(c->diets().size(), 2u);
  });
}

TEST_F(CourseDietsTest, DeletionFromTodayReachesTheFileAndSparesThePast) {
  auto clock = std::make_shared<FixedClock>(at("2026-06-10 15:00:00"));
  Clock::setShared(clock);
  perform([&] {
    auto* c = course();
    diet(c, 1, at("2026-06-09 23:59:59"));  // yesterday
    diet(c, 2, at("2026-06-10 00:00:00"));  // today, before now
    diet(c, 3, at("2026-06-11 08:00:00"));
    diet(c, 4, at("2026-06-12 08:00:00"));
    context->save();
    EXPECT_EQ(c->deleteDietsForDate(at("2026-06-12 23:00:00")), 1u);
    EXPECT_EQ(c->deleteDietsFromTodayAndFurther(), 2u);
    EXPECT_EQ(ids(c->diets()), (std::set<std::int64_t>{1}));
  });
  // The file, opened again, holds only yesterday's diet.
  reopen();
  perform([&] {
    auto diets = all(DietEntity::kEntityName);
    ASSERT_EQ(diets.size(), 1u);
    EXPECT_EQ(dynamic_cast<DietEntity*>(diets.front())->entityID(), 1);
    auto* c = TrainingCourseEntity::entity(*context, 501);
    ASSERT_NE(c, nullptr);
    EXPECT_EQ(c->diets().size(), 1u);
  });
}

}  // namespace
}  // namespace dm::test
