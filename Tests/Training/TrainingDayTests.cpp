// Training days: superset links from neighbours, planned totals, unlock times, and the course
// screen's totals and progress over a generated history with corrections and removals,
// checked against totals summed here from the fixture files themselves.
#include <cmath>
#include <map>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "Platform/Foundation/Clock.h"
#include "Support/TempDir.h"
#include "Training/ExerciseCompletedSetEntity.h"
#include "Training/ExerciseEntity.h"
#include "Training/TrainingCourseEntity.h"
#include "Training/TrainingCourseScreen.h"
#include "Training/TrainingDayEntity.h"
#include "Training/TrainingTestSupport.h"
#include "Training/WorkoutResultsEntity.h"
#include "Units/UnitsHelper.h"

namespace dm::test {
namespace {

class TrainingDayTest : public TrainingStoreTest {
 protected:
  TrainingCourseEntity* mapCourseWithHistory() {
    auto course = readFile(fixturePath("Training/course-history-plan.json"));
    map("TrainingCourseEntity", course, "course");
    auto history = readFile(fixturePath("Training/course-small-history.json"));
    map("ExerciseCompletedSetEntity", history, "completed_sets");
    map("ExerciseCompletedSetUpdateEntity", history, "completed_update_sets");
    map("ExerciseCompletedSetDeleteEntity", history, "completed_delete_sets");
    map("WorkoutResultsEntity", history, "results");
    return TrainingCourseEntity::entity(*context, 501);
  }
  ExerciseEntity* exercise(TrainingDayEntity* day, std::int64_t id, std::optional<int> superset) {
    auto* e = insert<ExerciseEntity>();
    e->setEntityID(id);
    e->setPosition(id);
    if (superset) e->setSuperset(*superset);
    e->setTrainingDay(day);
    return e;
  }
};

TEST_F(TrainingDayTest, SupersetLinksFollowNeighboursWithEqualNumbers) {
  perform([&] {
    auto* day = insert<TrainingDayEntity>();
    auto* a = exercise(day, 1, 1);
    auto* b = exercise(day, 2, 1);
    auto* c = exercise(day, 3, std::nullopt);
    auto* d = exercise(day, 4, 2);
    auto* e = exercise(day, 5, 2);
    auto* f = exercise(day, 6, 1);  // same number as a and b, but not next to them
    c->setTopConnection(true);      // stale link of an exercise left its superset
    TrainingDayEntity::prepareForConnections({b, a, c, d, e, f});
    auto links = [](ExerciseEntity* x) {
      return std::pair(x->isTopConnection(), x->isBottomConnection());
    };
    EXPECT_EQ(b->position(), 1);
    EXPECT_EQ(a->position(), 2);
    EXPECT_EQ(links(b), std::pair(false, true));
    EXPECT_EQ(links(a), std::pair(true, false));
    EXPECT_EQ(links(c), std::pair(false, false));
    EXPECT_EQ(links(d), std::pair(false, true));
    EXPECT_EQ(links(e), std::pair(true, false));
    EXPECT_EQ(links(f), std::pair(false, false));
    EXPECT_FALSE(b->mightTopConnection);
    EXPECT_TRUE(b->mightBottomConnection);
    EXPECT_FALSE(f->mightBottomConnection);
    EXPECT_TRUE(day->hasConnections());

    TrainingDayEntity::prepareForConnections({f, e, d}, /*updatePositions=*/false);
    EXPECT_EQ(f->position(), 6);  // positions untouched
    EXPECT_EQ(links(e), std::pair(false, true));
    EXPECT_EQ(links(d), std::pair(true, false));

    day->markAsDeleted();
    EXPECT_TRUE(day->markDeleted());
    EXPECT_TRUE(a->markDeleted() && f->markDeleted());
    EXPECT_FALSE(day->hasConnections());  // deleted exercises are not shown
  });
}

TEST_F(TrainingDayTest, PlannedTotalsOfADay) {
  perform([&] {
    auto* course = mapCourseWithHistory();
    ASSERT_NE(course, nullptr);
    auto* legs = TrainingDayEntity::entity(*context, 600);   // straight, pyramid, cardio
    auto* back = TrainingDayEntity::entity(*context, 601);   // straight, pyramid, seconds
    auto* chest = TrainingDayEntity::entity(*context, 602);  // straight, pyramid, repeats
    ASSERT_TRUE(legs && back && chest);
    UnitsHelper::sharedInstance().setWeightUnitsValue(0);  // kilograms, as stored
    CompletedSetsByExercise none;
    // 3 x 10 x 40 kg, then the pyramid 12 x 30, 10 x 35, 8 x 40.
    EXPECT_EQ(legs->allRepeatsForCompletedSets(none), 30 + 30);
    EXPECT_DOUBLE_EQ(legs->allWeightInCurrentUnitsForCompletedSets(none), 1200 + 360 + 350 + 320);
    EXPECT_DOUBLE_EQ(legs->allMinutes(), 20);
    EXPECT_DOUBLE_EQ(back->allSecondsForCompletedSets(none), 3 * 45);
    EXPECT_DOUBLE_EQ(back->allWeightInCurrentUnitsForCompletedSets(none), 3 * 10 * 45 + 1030);
    EXPECT_EQ(chest->allRepeatsForCompletedSets(none), 30 + 30 + 4 * 15);
    EXPECT_DOUBLE_EQ(chest->allMinutes(), 0);
  });
}

struct Expected {
  double kilograms = 0, minutes = 0, seconds = 0;
  std::int64_t repeats = 0;
  std::size_t sets = 0;
};

// Day totals summed straight from the fixture files: corrections replace the set's values,
// removed sets count for nothing.
std::map<std::int64_t, Expected> expectedTotals() {
  auto course = nlohmann::json::parse(readFile(fixturePath("Training/course-history-plan.json")));
  auto history = nlohmann::json::parse(readFile(fixturePath("Training/course-small-history.json")));
  std::map<std::int64_t, std::pair<std::int64_t, std::string>> exercises;  // id -> day, kind
  for (const auto& day : course["course"]["trainingDays"])
    for (const auto& e : day["exercises"])
      exercises[e["id"]] = {day["id"].get<std::int64_t>(), e["handbook_type"]};
  std::map<std::string, nlohmann::json> corrections;
  for (const auto& u : history["completed_update_sets"]) corrections[u["guid"]] = u;
  std::map<std::int64_t, Expected> totals;
  for (const auto& s : history["completed_sets"]) {
    if (s.value("markedDeleted", false)) continue;
    auto [day, kind] = exercises.at(s["exerciseId"]);
    double value = s["value"];
    std::int64_t repeats = s["repeats"];
    if (auto c = corrections.find(s["guid"]); c != corrections.end()) {
      value = c->second["value"];
      repeats = c->second["repeats"];
    }
    auto& t = totals[day];
    ++t.sets;
    if (kind == "cardio") t.minutes += value;
    if (kind == "functional_seconds") t.seconds += value;
    if (kind == "functional_repeats" || kind == "power") t.repeats += repeats;
    if (kind == "power") t.kilograms += value * static_cast<double>(repeats);
  }
  return totals;
}

TEST_F(TrainingDayTest, CourseScreenTotalsUseCorrectedSetsAndLeaveOutRemovedOnes) {
  auto expected = expectedTotals();
  ASSERT_GE(expected.size(), 6u);
  perform([&] {
    auto* course = mapCourseWithHistory();
    ASSERT_NE(course, nullptr);
    auto screen = trainingCourseScreen(*course);
    EXPECT_EQ(screen.daysPerWeek, 3);   // six published days over two weeks
    ASSERT_EQ(screen.days.size(), 6u);  // the draft day is not shown
    std::size_t scored = 0;
    for (const auto& row : screen.days) {
      SCOPED_TRACE(row.title);
      const auto& want = expected.at(row.dayId);
      EXPECT_EQ(row.totals.sets, want.sets);
      EXPECT_NEAR(row.totals.kilograms, want.kilograms, 1e-6);
      EXPECT_NEAR(row.totals.minutes, want.minutes, 1e-6);
      EXPECT_NEAR(row.totals.seconds, want.seconds, 1e-6);
      EXPECT_EQ(row.totals.repeats, want.repeats);
      EXPECT_EQ(row.week, (row.displayPosition - 1) / 3 + 1);
      // The one-query screen scores progress as each day's own lookups do.
      EXPECT_NEAR(row.progress, row.day->progressMade(row.day->fixedProgressResetAt()), 1e-9);
      EXPECT_GE(row.progress, 0);
      EXPECT_LE(row.progress, 1);
      if (row.progress > 0) ++scored;
    }
    // Progress counts from the course's reset near the end of the history: some days were
    // trained since, not all.
    EXPECT_GT(scored, 0);
    EXPECT_LT(scored, screen.days.size());
    EXPECT_EQ(screen.days.front().title, "Legs");
    EXPECT_EQ(screen.days.back().week, 2);
    EXPECT_GE(course->trainingsDone(), 40);
  });
}

TEST_F(TrainingDayTest, BadHistoryGivesEmptyValuesAndKeepsWhatIsStored) {
  perform([&] {
    map("TrainingCourseEntity", R"({"course": {"id": 77, "name": "Broken", "trainingDays": [
          {"id": 770, "title": "No exercises", "position": 1, "courseId": 77,
           "status": "published"},
          {"id": 771, "title": "Has one", "position": 2, "courseId": 77, "status": "published",
           "exercises": [{"id": 7711, "trainingDayId": 771, "handbook_type": "power",
                          "recommendedRepeats": 10, "recommendedSets": 3}]}]}})",
        "course");
    // Sets of an exercise that is not stored, and one without a date.
    map("ExerciseCompletedSetEntity", R"({"completed_sets": [
          {"guid": "A", "exerciseId": 999999, "value": 50, "repeats": 10, "courseId": 77},
          {"guid": "B", "exerciseId": 7711, "value": 50, "repeats": 10, "courseId": 77}]})",
        "completed_sets");
    auto* course = TrainingCourseEntity::entity(*context, 77);
    ASSERT_NE(course, nullptr);
    auto screen = trainingCourseScreen(*course);
    ASSERT_EQ(screen.days.size(), 2u);
    EXPECT_EQ(screen.days[0].totals.sets, 0u);
    EXPECT_EQ(screen.days[0].progress, 0);
    EXPECT_EQ(screen.days[1].totals.kilograms, 500);  // counted, though it cannot score
    EXPECT_EQ(screen.days[1].progress, 0);
    EXPECT_EQ(all("ExerciseCompletedSetEntity").size(), 2u);
  });
}

TEST_F(TrainingDayTest, UnlockAndSkipTimesAndPositionTitle) {
  auto clock = std::make_shared<FixedClock>(Date(1'780'000'000));
  Clock::setShared(clock);
  perform([&] {
    auto* day = insert<TrainingDayEntity>();
    EXPECT_TRUE(day->unlockedAtDateExpired());  // no date
    EXPECT_EQ(day->unlockedAtFromNow(), "00:00:00");
    day->setUnlockedAt("2026-05-28T22:06:40+00:00");  // 1780006000: 6000 s from now
    EXPECT_FALSE(day->unlockedAtDateExpired());
    EXPECT_EQ(day->unlockedAtFromNow(), "01:40:00");
    clock->advance(6000);
    EXPECT_TRUE(day->unlockedAtDateExpired());
    day->setSkipUnlockedAt("yesterday");
    EXPECT_EQ(day->skipUnlockedAtDate(), std::nullopt);
    EXPECT_TRUE(day->skipUnlocked());

    for (const char* text : {"can", "timeout"}) {
      day->setSkipPossibility(text);
      EXPECT_TRUE(day->isCanBeSkipped()) << text;
    }
    for (const char* text : {"", "cannot", "Can"}) {
      day->setSkipPossibility(text);
      EXPECT_FALSE(day->isCanBeSkipped()) << text;
    }
    EXPECT_EQ(TrainingDayEntity::positionStringForIndex(3), "Training 3");
  });
}

}  // namespace
}  // namespace dm::test
