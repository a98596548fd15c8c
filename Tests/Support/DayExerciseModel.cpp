// The day-and-exercise model shared by the mapping engine's store tests.
#include "Support/DayExerciseModel.h"

namespace dm::test {

std::shared_ptr<const ManagedObjectModel> dayExerciseModel() {
  static const auto model = ManagedObjectModel::fromJson(R"({
  "name": "DayExerciseModel",
  "entities": [
    {"name": "Day", "attributes": [
       {"name": "entityID", "type": "integer64", "indexed": true},
       {"name": "title", "type": "string"}],
     "relationships": [
       {"name": "exercises", "destination": "Exercise", "inverse": "trainingDay", "toMany": true}]},
    {"name": "Exercise", "attributes": [
       {"name": "entityID", "type": "integer64", "indexed": true},
       {"name": "guid", "type": "string"},
       {"name": "name", "type": "string"},
       {"name": "sets", "type": "integer16"},
       {"name": "weight", "type": "double"},
       {"name": "trainingDayId", "type": "integer64"},
       {"name": "at", "type": "date"}],
     "relationships": [
       {"name": "trainingDay", "destination": "Day", "inverse": "exercises"}]}
  ]})");
  return model;
}

}  // namespace dm::test
