// Per-period statistics read leniently from their archived rows and favourites with their
// two-part identity.
#include <gtest/gtest.h>

#include "Training/ExerciseTypeEntity.h"
#include "Training/FavoriteExerciseEntity.h"
#include "Training/MuscleGroupEntity.h"
#include "Training/TrainingTestSupport.h"

namespace dm::test {
namespace {

TEST(StatisticRows, MalformedRowsAreSkippedOrReadAsZero) {
  auto rows = nlohmann::json::parse(R"([
      {"name": "Chest", "percent": 40.5},
      {"name": "Back", "percent": "30"},
      {"name": "Legs"},
      {"percent": 10},
      {"name": null, "percent": 5},
      {"name": 7, "percent": 5},
      "not a row",
      {"name": "Arms", "percent": true}])");
  auto models = statistic_rows::modelsFrom(rows);
  EXPECT_EQ(models,
            (std::vector<StatisticRowModel>{{"Chest", 40.5}, {"Back", 0}, {"7", 5}, {"Arms", 0}}));
  EXPECT_TRUE(statistic_rows::modelsFrom(nlohmann::json::object()).empty());
  EXPECT_TRUE(statistic_rows::modelsFrom("rows").empty());
}

TEST_F(TrainingStoreTest, StatisticsAreOneRecordPerPeriodReplacedOnEachLoad) {
  perform([&] {
    map("ExerciseTypeEntity", R"({"stats_2": [
          {"id": 1, "type": "week", "values": [{"name": "Power", "percent": 70},
                                              {"name": "Cardio", "percent": 30}]},
          {"id": 2, "type": "month", "values": [{"name": "Power", "percent": 100}]}]})",
        "stats_2");
    map("ExerciseTypeEntity",
        R"({"stats_2": [{"id": 3, "type": "week", "values": [{"name": "Cardio", "percent": 100}]}]})",
        "stats_2");
    EXPECT_EQ(all("ExerciseTypeEntity").size(), 2u);
    auto* week = ExerciseTypeEntity::entity(*context, "week");
    ASSERT_NE(week, nullptr);
    EXPECT_EQ(week->type(), StatisticPeriodType::Week);
    EXPECT_EQ(week->models(), (std::vector<ExerciseTypeModel>{{"Cardio", 100}}));
    EXPECT_EQ(ExerciseTypeEntity::entity(*context, "all_time"), nullptr);

    map("MuscleGroupEntity", R"({"musclegroups": [
          {"id": 5, "type": "last_day", "values": [{"name": "Chest", "percent": 55}, {"x": 1}]},
          {"id": 6, "type": "all_time", "values": "broken"}]})",
        "musclegroups");
    auto* lastDay = MuscleGroupEntity::entity(*context, "last_day");
    ASSERT_NE(lastDay, nullptr);
    EXPECT_EQ(lastDay->models(), (std::vector<MuscleGroupModel>{{"Chest", 55}}));
    auto* allTime = MuscleGroupEntity::entity(*context, "all_time");
    ASSERT_NE(allTime, nullptr);  // the wrong-typed rows were skipped, the record kept
    EXPECT_TRUE(allTime->models().empty());
    allTime->setValueAt(MuscleGroupEntity::kValuesIndex, Value(std::string("no archive")));
    EXPECT_TRUE(allTime->dictsArray().empty());
  });
}

TEST_F(TrainingStoreTest, FavouritesAreIdentifiedByIdAndExerciseTogether) {
  perform([&] {
    map("FavoriteExerciseEntity", R"({"favorite_exercises": [
          {"id": 1, "post_exercise_id": 900, "position": 2},
          {"id": 2, "post_exercise_id": 901, "position": 1}]})",
        "favorite_exercises");
    map("FavoriteExerciseEntity", R"({"favorite_exercises": [
          {"id": 1, "post_exercise_id": 900, "position": 3},
          {"id": 1, "post_exercise_id": 902, "position": 4}]})",
        "favorite_exercises");
    auto favourites = FavoriteExerciseEntity::allEntities(*context);
    ASSERT_EQ(favourites.size(), 3u);
    EXPECT_EQ(favourites[0]->exerciseID(), 901);
    EXPECT_EQ(favourites[1]->exerciseID(), 900);
    EXPECT_EQ(favourites[1]->position(), 3);
    EXPECT_EQ(favourites[2]->exerciseID(), 902);
  });
}

}  // namespace
}  // namespace dm::test
