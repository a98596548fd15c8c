// The training model mapped from server payloads: a course maps whole with its days and
// exercises, completed sets connect to their exercises, pending corrections are found by guid.
#include <gtest/gtest.h>

#include "Handbook/Entities/HandbookPostExerciseEntity.h"
#include "Platform/Foundation/SettingsStore.h"
#include "Training/ExerciseCompletedSetDeleteEntity.h"
#include "Training/ExerciseCompletedSetEntity.h"
#include "Training/ExerciseCompletedSetUpdateEntity.h"
#include "Training/ExerciseEntity.h"
#include "Training/TrainingCourseEntity.h"
#include "Training/TrainingDayEntity.h"
#include "Training/TrainingTestSupport.h"
#include "Training/WorkoutResultsEntity.h"
#include "Training/WorkoutResultsUpdateEntity.h"

namespace dm::test {
namespace {

constexpr const char* kCourse = R"({"course": {
  "id": 7, "name": "Strength base", "course_status": "active", "template_id": 3,
  "training_days_available": true, "meal_count": 4, "diet_type": "auto_diet",
  "trainingDays": [
    {"id": 70, "title": "Legs", "position": 1, "courseId": 7, "status": "published",
     "ios_location_type": "gym",
     "exercises": [
       {"id": 701, "postExerciseID": 900011, "trainingDayId": 70, "position": 1, "superset": 1,
        "set_type": "pyramid", "handbook_type": "power", "weight_type": "number",
        "status": "published", "restTime": 90,
        "recommendedPyramid": [{"repeats": 12, "weight": 40}, {"repeats": "10", "weight": "45"},
                               {"repeats": 8, "weight": 50}]},
       {"id": 702, "postExerciseID": 900012, "trainingDayId": 70, "position": 2, "superset": 1,
        "set_type": "straight", "handbook_type": "cardio", "recommendedSets": 20, "sets": 1}
     ]},
    {"id": 71, "title": "Back", "position": 2, "courseId": 7, "exercises": [
       {"id": 711, "postExerciseID": 900013, "trainingDayId": 71, "position": 1,
        "set_type": "straight", "handbook_type": "functional_seconds",
        "recommendedRepeats": 45, "recommendedSets": 3}
     ]}
  ]}})";

TEST_F(TrainingStoreTest, CoursePayloadMapsWholeWithDaysExercisesAndPyramids) {
  perform([&] {
    auto mapped = map("TrainingCourseEntity", kCourse, "course");
    ASSERT_EQ(mapped.size(), 1u);
    auto* course = dynamic_cast<TrainingCourseEntity*>(mapped.front());
    ASSERT_NE(course, nullptr);
    EXPECT_EQ(course->name(), "Strength base");
    EXPECT_EQ(course->presetId(), 3);
    EXPECT_TRUE(course->exersisesAvailable());
    EXPECT_EQ(course->mealCount(), 4);
    EXPECT_EQ(course->dietTypeString(), "auto_diet");
    EXPECT_EQ(course->trainingDays().size(), 2u);
    EXPECT_EQ(all("TrainingDayEntity").size(), 2u);
    EXPECT_EQ(all("Exercise").size(), 3u);

    auto exercises = all("Exercise");
    auto* pyramid = dynamic_cast<ExerciseEntity*>(exercises.at(0));
    ASSERT_NE(pyramid, nullptr);
    ASSERT_NE(pyramid->trainingDay(), nullptr);
    EXPECT_EQ(pyramid->trainingDay()->title(), "Legs");
    EXPECT_EQ(pyramid->trainingDay()->locationType(), "gym");
    EXPECT_EQ(pyramid->trainingDay()->cource(), course);
    EXPECT_EQ(pyramid->getCourseId(), 7);
    EXPECT_TRUE(pyramid->isPyramid());
    EXPECT_TRUE(pyramid->isPower());
    EXPECT_TRUE(pyramid->isInSuperset());
    EXPECT_TRUE(pyramid->isEqualSuperset(1));
    EXPECT_EQ(pyramid->setsCount(), 3);
    EXPECT_EQ(pyramid->restTimeOrDefaultValue(), 90);

    auto* cardio = dynamic_cast<ExerciseEntity*>(exercises.at(1));
    EXPECT_TRUE(cardio->isCardio());
    EXPECT_EQ(cardio->exerciseValueType(), 2u);
    EXPECT_EQ(cardio->setsCount(), 0);  // one block is no sets
    EXPECT_EQ(cardio->repeatsCount(), 0);
    EXPECT_EQ(cardio->setTimeOrDefaultValue(), 20 * 60);
    EXPECT_EQ(cardio->restTimeOrDefaultValue(), ExerciseEntity::defaultRestTimeValue);

    auto* seconds = dynamic_cast<ExerciseEntity*>(exercises.at(2));
    EXPECT_TRUE(seconds->isFunctionalSeconds());
    EXPECT_EQ(seconds->exerciseValueType(), 0u);  // deliberately not a seconds kind
    EXPECT_TRUE(seconds->theOnlyFieldIsValue());
    EXPECT_EQ(seconds->setTimeOrDefaultValue(), 45);
  });
}

TEST_F(TrainingStoreTest, PyramidStepsRepeatModuloTheirCountAndReadTextNumbers) {
  perform([&] {
    map("TrainingCourseEntity", kCourse, "course");
    auto* pyramid = dynamic_cast<ExerciseEntity*>(all("Exercise").at(0));
    EXPECT_EQ(pyramid->repeatsIncludingPiramidForSet(0), 12);
    EXPECT_EQ(pyramid->repeatsIncludingPiramidForSet(1), 10);  // "10" read as a number
    EXPECT_EQ(pyramid->repeatsIncludingPiramidForSet(4), 10);  // 4 modulo 3 steps
    EXPECT_EQ(pyramid->weightIncludingPiramidForSet(5), 50);
    auto [repeats, weights] = pyramid->recommendedPyramidSimpleArrays();
    EXPECT_EQ(repeats, (std::vector<double>{12, 10, 8}));
    EXPECT_EQ(weights.size(), 3u);

    pyramid->setRecommendedPyramidArray(nlohmann::json::array());
    EXPECT_EQ(pyramid->repeatsIncludingPiramidForSet(0), std::nullopt);
    EXPECT_EQ(pyramid->setsCount(), 0);
  });
}

TEST_F(TrainingStoreTest, ExerciseBodyLeavesOutUnsavedIdAndDeleteUnlessMarked) {
  perform([&] {
    auto* exercise = insert<ExerciseEntity>();
    exercise->setPostExerciseID(11);
    exercise->setPosition(2);
    exercise->setSetType(ExerciseSetType::Straight);
    exercise->setHandbookType(ExerciseHandbookType::Power);
    exercise->setRecommendedRepeats(10);
    exercise->setRecommendedWeightValue(42.5);
    exercise->setRecommendedSets(4);
    exercise->setRestTime(120);
    EXPECT_EQ(exercise->serialized(), nlohmann::json::parse(R"({
      "post_exercise_id": 11, "position": 2, "set_type": "straight", "handbook_type": "power",
      "recommended_repeats": 10, "recommended_weight_value": 42.5, "recommended_sets": 4,
      "rest_time": 120})"));

    exercise->setEntityID(501);
    exercise->setMarkDeleted(true);
    exercise->setSuperset(3);
    auto body = exercise->serialized();
    EXPECT_EQ(body["id"], 501);
    EXPECT_EQ(body["_delete"], true);
    EXPECT_EQ(body["superset"], 3);
  });
}

TEST_F(TrainingStoreTest, ConnectionsAreWrittenOnlyWhenTheyChange) {
  perform([&] {
    auto* exercise = insert<ExerciseEntity>();
    exercise->setTopConnection(true);
    EXPECT_TRUE(exercise->hasConnections());
    exercise->clearConnections();
    EXPECT_TRUE(exercise->isEmptyConnections());
    EXPECT_FALSE(exercise->isInSuperset());
    EXPECT_FALSE(exercise->isEqualSuperset(0));
  });
}

TEST_F(TrainingStoreTest, ProgressScoresDoneRepeatsAgainstThePlanAndRaisesTinyShares) {
  perform([&] {
    map("TrainingCourseEntity", R"({"course": {"id": 7, "trainingDays": [{"id": 70,
        "courseId": 7, "exercises": [{"id": 801, "trainingDayId": 70, "set_type": "straight",
        "handbook_type": "power", "recommendedRepeats": 10, "recommendedSets": 4}]}]}})",
        "course");
    auto* exercise = dynamic_cast<ExerciseEntity*>(all("Exercise").at(0));
    EXPECT_EQ(exercise->progressMade(std::nullopt), 0);  // no sets yet

    map("ExerciseCompletedSetEntity", R"({"completed_sets": [
        {"guid": "a", "id": 1, "exerciseId": 801, "repeats": 3,
         "executedAt": "2024-05-01T10:00:00Z"}]})",
        "completed_sets");
    EXPECT_DOUBLE_EQ(exercise->progressMade(std::nullopt), 0.075);  // 3/10 over 4 sets

    exercise->setRecommendedRepeats(1000);
    EXPECT_DOUBLE_EQ(exercise->progressMade(std::nullopt), 0.01);  // 0.00075 raised
    EXPECT_EQ(exercise->progressMade(Date(4102444800)), 0);        // nothing after 2100
    EXPECT_EQ(exercise->customAlternativeExercisePostId, std::nullopt);
  });
}

TEST_F(TrainingStoreTest, CorrectionThenRemovalThenServerAcknowledgementByGuid) {
  perform([&] {
    map("TrainingCourseEntity", kCourse, "course");
    // Recorded on the device: a guid, no server id yet.
    auto* set = dynamic_cast<ExerciseCompletedSetEntity*>(
        map("ExerciseCompletedSetEntity",
            R"({"completed_set": {"guid": "g-1", "id": 0, "exerciseId": 701, "repeats": 12,
                "value": 40, "comment": "easy", "executedAt": "2024-05-01T10:00:00Z"}})",
            "completed_set")
            .at(0));
    ASSERT_NE(set, nullptr);
    ASSERT_NE(set->exersice(), nullptr);
    EXPECT_EQ(set->exersice()->entityID(), 701);
    EXPECT_EQ(set->updatedRepeats(), 12);

    auto* update = insert<ExerciseCompletedSetUpdateEntity>();
    update->setGuid("g-1");
    update->setValue(42.5);
    context->save();
    EXPECT_EQ(set->updatedValue(), 42.5);
    EXPECT_EQ(set->updatedRepeats(), std::nullopt);  // the correction wins, even absent
    EXPECT_EQ(set->updatedComment(), std::nullopt);

    auto* removal = insert<ExerciseCompletedSetDeleteEntity>();
    removal->setGuid("g-1");
    set->setMarkedDeleted(true);
    EXPECT_EQ(removal->normalEntity(), set);
    EXPECT_EQ(removal->updatedEntityID(), 0);  // never uploaded
    context->save();

    // The server acknowledges the upload: the same guid now carries the server id.
    map("ExerciseCompletedSetEntity",
        R"({"completed_set": {"guid": "g-1", "id": 9001, "exerciseId": 701, "repeats": 12}})",
        "completed_set");
    EXPECT_EQ(all("ExerciseCompletedSetEntity").size(), 1u);
    EXPECT_EQ(set->entityID(), 9001);
    EXPECT_EQ(removal->updatedEntityID(), 9001);

    set->removeAllUpdateEntities();
    removal->removeEntity();
    context->save();
    EXPECT_EQ(set->updatedRepeats(), 12);
    EXPECT_TRUE(all("ExerciseCompletedSetUpdateEntity").empty());
    EXPECT_TRUE(all("ExerciseCompletedSetDeleteEntity").empty());
  });
}

TEST_F(TrainingStoreTest, CorrectionsOfAListOfSetsAreFoundInOneLookupEitherWay) {
  perform([&] {
    // Below and above the guid-list limit: each set gets its own correction or none, also
    // when another set of the same list has one.
    for (std::size_t count : {std::size_t{3}, ExerciseCompletedSetEntity::kGuidListLimit + 2}) {
      SCOPED_TRACE(count);
      std::vector<ExerciseCompletedSetEntity*> sets;
      for (std::size_t i = 0; i < count; ++i) {
        auto* set = insert<ExerciseCompletedSetEntity>();
        set->setGuid("s" + std::to_string(count) + "-" + std::to_string(i));
        set->setValue(10);
        sets.push_back(set);
      }
      auto* update = insert<ExerciseCompletedSetUpdateEntity>();
      update->setGuid(sets[1]->guid());
      update->setValue(12.5);
      context->save();
      ExerciseCompletedSetEntity::primeUpdateEntities(*context, sets);
      EXPECT_EQ(sets[0]->updatedValue(), 10);
      EXPECT_EQ(sets[1]->updatedValue(), 12.5);
      EXPECT_EQ(sets.back()->updatedValue(), 10);
      // Primed: a correction added later is not looked up again by the primed set.
      auto* late = insert<ExerciseCompletedSetUpdateEntity>();
      late->setGuid(sets[0]->guid());
      late->setValue(1);
      EXPECT_EQ(sets[0]->updatedValue(), 10);
    }
  });
}

TEST_F(TrainingStoreTest, SetDurationsAndDayKeys) {
  perform([&] {
    map("TrainingCourseEntity", kCourse, "course");
    auto exercises = all("Exercise");
    auto* power = dynamic_cast<ExerciseEntity*>(exercises.at(0));
    auto* cardio = dynamic_cast<ExerciseEntity*>(exercises.at(1));
    auto* set = dynamic_cast<ExerciseCompletedSetEntity*>(
        map("ExerciseCompletedSetEntity",
            R"({"completed_set": {"guid": "d-1", "exerciseId": 701, "repeats": 12,
                "value": 1.5, "executedAt": "2024-05-01T10:00:00Z"}})",
            "completed_set")
            .at(0));
    ASSERT_NE(set, nullptr);
    EXPECT_EQ(set->durationForExercise(*power), 24);
    EXPECT_EQ(set->durationForExercise(*cardio), 90);
    EXPECT_EQ(set->trainingDayKeyWithSeconds(), "171455760070");
    EXPECT_EQ(set->trainingDayKey().substr(set->dateKey().size()), "70");
    EXPECT_EQ(set->dateKey().size(), 8u);
  });
}

TEST_F(TrainingStoreTest, WorkoutResultShowsCorrectedValues) {
  perform([&] {
    auto* result = insert<WorkoutResultsEntity>();
    result->setGuid("r-1");
    result->setSteps(1000);
    result->setHeartRateAverage(120);
    result->setPercentage(0);
    result->setCalculatedPercentage(40);
    result->setStartedAt(Date(1000));
    result->setEndedAt(Date(900));
    EXPECT_EQ(result->realPercentage(), 40);
    result->setPercentage(70);
    EXPECT_EQ(result->realPercentage(), 70);
    EXPECT_EQ(result->duration(), 0);  // ended before it started

    auto* update = insert<WorkoutResultsUpdateEntity>();
    update->fillFromWorkoutResults(*result);
    update->setSteps(1500);
    update->setHeartRateAverage(0);
    EXPECT_EQ(result->updatedSteps(), 1500);
    EXPECT_EQ(result->realHeartRateAverage(), 120);  // a zero correction is no measurement
    EXPECT_EQ(WorkoutResultsEntity::getAllTempEnitities(*context).size(), 1u);
    EXPECT_EQ(WorkoutResultsEntity::entity(*context, "r-1"), result);
  });
}

}  // namespace
}  // namespace dm::test

namespace dm::test {
namespace {

// Puts post exercises into the test's handbook: id -> comma-separated alternatives.
void addPostExercises(const std::vector<std::pair<std::int64_t, std::string>>& posts) {
  auto storage = HandbookAdapter::shared().storage();
  storage->performOnSavingContextAndWait([&](ManagedObjectContext& handbook) {
    for (const auto& [id, alternatives] : posts) {
      auto* post = dynamic_cast<HandbookPostExerciseEntity*>(
          handbook.insertNewObject(HandbookPostExerciseEntity::kEntityName));
      post->setEntityID(id);
      post->setExerciseTypeString("power");
      post->setAlternativeIds(alternatives);
    }
    handbook.save();
  });
}

TEST_F(TrainingStoreTest, AlternativesRotateThroughTheListAndBackToTheMainExercise) {
  addPostExercises({{900011, "7,9,900012,7"}, {7, ""}, {9, ""}, {900012, ""}});
  perform([&] {
    map("TrainingCourseEntity", kCourse, "course");
    auto* exercise = dynamic_cast<ExerciseEntity*>(all("Exercise").at(0));
    // 900012 is already in the day and 7 is listed twice: neither is offered again.
    EXPECT_EQ(exercise->alternativeIds(), (std::vector<std::int64_t>{7, 9}));
    std::vector<std::optional<std::int64_t>> seen;
    for (int i = 0; i < 4; ++i) {
      exercise->rotateCurrentPostExerciseToNext();
      seen.push_back(exercise->selectedCustomExerciseId());
    }
    EXPECT_EQ(seen, (std::vector<std::optional<std::int64_t>>{7, 9, std::nullopt, 7}));
    ASSERT_NE(exercise->currentPostExercise(), nullptr);
    EXPECT_EQ(exercise->currentPostExercise()->entityID(), 7);
  });
}

}  // namespace
}  // namespace dm::test
