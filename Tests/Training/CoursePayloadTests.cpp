// Course payloads as the server sends them: the generated fixture maps whole, and payloads with
// wrong types, unknown post exercises, missing days, duplicate guids or superset links that run
// in a ring map what is valid, report the rest and leave stored records alone.
#include <gtest/gtest.h>

#include <set>

#include "Training/ExerciseCompletedSetEntity.h"
#include "Training/ExerciseEntity.h"
#include "Training/TrainingCourseEntity.h"
#include "Training/TrainingDayEntity.h"
#include "Training/TrainingTestSupport.h"

namespace dm::test {
namespace {

class CoursePayloadTest : public TrainingStoreTest {
 protected:
  ExerciseEntity* exercise(std::int64_t id) {
    for (auto* object : all("Exercise"))
      if (auto* e = dynamic_cast<ExerciseEntity*>(object); e && e->entityID() == id) return e;
    return nullptr;
  }
};

TEST_F(CoursePayloadTest, GeneratedCourseMapsWholeAndAgainWithoutDuplicates) {
  const std::string payload = readFile(fixturePath("Training/course-small.json"));
  const auto expected = nlohmann::json::parse(payload)["courses"][0];
  std::size_t exerciseCount = 0, supersetMembers = 0, pyramids = 0;
  for (const auto& day : expected["trainingDays"]) {
    exerciseCount += day["exercises"].size();
    for (const auto& e : day["exercises"]) {
      supersetMembers += e.contains("superset");
      pyramids += e["set_type"] == "pyramid";
    }
  }
  ASSERT_GT(supersetMembers, 0u);
  ASSERT_GT(pyramids, 0u);

  perform([&] {
    for (int round = 0; round < 2; ++round) {
      auto result = mapReporting("TrainingCourseEntity", payload, "courses");
      EXPECT_EQ(result.skippedCount, 0u);
      ASSERT_EQ(result.objects.size(), 1u);
    }
    EXPECT_EQ(all("TrainingCourseEntity").size(), 1u);
    EXPECT_EQ(all("TrainingDayEntity").size(), expected["trainingDays"].size());
    ASSERT_EQ(all("Exercise").size(), exerciseCount);

    std::size_t mappedMembers = 0, mappedPyramids = 0;
    for (auto* object : all("Exercise")) {
      auto* e = dynamic_cast<ExerciseEntity*>(object);
      ASSERT_NE(e->trainingDay(), nullptr);
      EXPECT_EQ(e->getCourseId(), expected["id"].get<std::int64_t>());
      EXPECT_GT(e->postExerciseID(), 10000);  // the handbook seed's exercise range
      mappedMembers += e->isInSuperset();
      if (e->isPyramid()) {
        ++mappedPyramids;
        EXPECT_GE(e->recommendedPyramidArray().size(), 3u);
      }
    }
    EXPECT_EQ(mappedMembers, supersetMembers);
    EXPECT_EQ(mappedPyramids, pyramids);
  });
}

TEST_F(CoursePayloadTest, BadValuesAreSkippedAndReportedWithoutTouchingStoredRecords) {
  perform([&] {
    // Stored before: another course with a day, an exercise and a set done on it.
    mapReporting("TrainingCourseEntity",
                 R"({"course": {"id": 8, "name": "Kept", "trainingDays": [
                      {"id": 80, "title": "Kept day", "courseId": 8, "exercises": [
                        {"id": 801, "postExerciseID": 10020, "trainingDayId": 80,
                         "recommendedRepeats": 10, "recommendedSets": 3}]}]}})",
                 "course");
    mapReporting("ExerciseCompletedSetEntity",
                 R"({"completed_set": {"guid": "kept", "id": 5, "exerciseId": 801,
                     "repeats": 10, "value": 50}})",
                 "completed_set");

    auto result = mapReporting("TrainingCourseEntity", R"({"courses": [
      {"id": 7, "name": "Bad", "trainingDays": [
        {"id": 70, "title": "Mixed", "courseId": 7, "exercises": [
          {"id": 701, "postExerciseID": 999999999, "trainingDayId": 70, "position": "first",
           "recommendedRepeats": "ten", "recommendedWeightValue": [1], "recommendedSets": 3,
           "set_type": "pyramid", "recommendedPyramid": "not a list"},
          {"id": 702, "postExerciseID": 10010, "trainingDayId": 70, "position": 2,
           "recommendedRepeats": 8, "recommendedSets": 4, "recommendedWeightValue": 60},
          {"id": {"nested": true}, "postExerciseID": 10011}]},
        {"id": 71, "title": {"not": "text"}, "courseId": 7},
        {"id": 72, "title": "Exercises missing", "courseId": 7, "exercises": null}]},
      {"id": 8, "name": "Kept, renamed"}]})",
                               "courses");
    EXPECT_GE(result.skippedCount, 4u);
    std::set<std::string> classes;
    for (const auto& issue : result.skipped) classes.insert(issue.className);
    EXPECT_TRUE(classes.contains("ExerciseEntity") || classes.contains("Exercise"));

    // What was valid is there.
    auto* good = exercise(702);
    ASSERT_NE(good, nullptr);
    EXPECT_EQ(good->recommendedRepeats(), 8);
    auto* bad = exercise(701);
    ASSERT_NE(bad, nullptr);
    EXPECT_FALSE(bad->hasRecommendedRepeats());
    EXPECT_FALSE(bad->hasPosition());
    EXPECT_EQ(bad->recommendedSets(), 3);
    EXPECT_TRUE(bad->recommendedPyramidArray().empty());
    // An unknown post exercise leaves the exercise without one; its texts still work.
    EXPECT_EQ(bad->mainPostExercise(), nullptr);
    EXPECT_EQ(bad->recommendation(), std::nullopt);  // a pyramid without steps
    EXPECT_EQ(bad->fixedCommentForSet(0), std::nullopt);
    EXPECT_EQ(bad->recommendationNoRepeatsAndNoSetsForSet(0), std::nullopt);

    // A course without its days keeps the days it has; the stored set is untouched.
    auto* kept = exercise(801);
    ASSERT_NE(kept, nullptr);
    ASSERT_NE(kept->trainingDay(), nullptr);
    EXPECT_EQ(kept->trainingDay()->title(), "Kept day");
    EXPECT_EQ(kept->trainingDay()->cource()->name(), "Kept, renamed");
    auto sets = all("ExerciseCompletedSetEntity");
    ASSERT_EQ(sets.size(), 1u);
    auto* set = dynamic_cast<ExerciseCompletedSetEntity*>(sets.front());
    EXPECT_EQ(set->repeats(), 10);
    EXPECT_EQ(set->exersice(), kept);
  });
}

TEST_F(CoursePayloadTest, DuplicateGuidsMakeOneSetAndRingedSupersetsStayFinite) {
  perform([&] {
    auto result = mapReporting("ExerciseCompletedSetEntity", R"({"completed_sets": [
        {"guid": "dup", "exerciseId": 1, "repeats": 8},
        {"guid": "dup", "exerciseId": 1, "repeats": 9},
        {"guid": "other", "exerciseId": 1, "repeats": "many"}]})",
                               "completed_sets");
    EXPECT_EQ(all("ExerciseCompletedSetEntity").size(), 2u);
    EXPECT_EQ(result.skippedCount, 1u);

    // Every exercise linked above and below: a ring that a screen walking the links must not
    // follow forever.
    mapReporting("TrainingDayEntity", R"({"training_day": {"id": 90, "title": "Ring",
        "exercises": [
          {"id": 901, "trainingDayId": 90, "position": 1, "superset": 1,
           "topSupersetConnection": true, "bottomSupersetConnection": true},
          {"id": 902, "trainingDayId": 90, "position": 2, "superset": 1,
           "topSupersetConnection": true, "bottomSupersetConnection": true}]}})",
                 "training_day");
    auto* first = exercise(901);
    ASSERT_NE(first, nullptr);
    EXPECT_TRUE(first->isTopConnection());
    EXPECT_TRUE(first->isEqualSuperset(1));
    EXPECT_EQ(first->trainingDay()->exercises().size(), 2u);
    EXPECT_NO_THROW(first->serialized());
  });
}

}  // namespace
}  // namespace dm::test
