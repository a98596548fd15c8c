// Request builders for completed sets and workout results.
#include "Training/TrainingRequests.h"

#include "Platform/Foundation/DateFormatting.h"
#include "Training/ExerciseCompletedSetEntity.h"
#include "Training/ExerciseCompletedSetUpdateEntity.h"
#include "Training/WorkoutResultsEntity.h"
#include "Training/WorkoutResultsUpdateEntity.h"

namespace dm::training_requests {

std::shared_ptr<ExerciseCompletedSetMappable> mappableFromCompletedSet(
    ExerciseCompletedSetEntity& set) {
  auto mappable = std::make_shared<ExerciseCompletedSetMappable>();
  if (set.hasValue()) mappable->setValue(set.value());
  if (set.hasRepeats()) mappable->setRepeats(set.repeats());
  if (set.hasValue_type()) mappable->setValueType(set.value_type());
  if (set.hasComment()) mappable->setComment(set.comment());
  if (set.hasExecutedAt()) mappable->setExecutedAt(serverDateTimeString(set.executedAt()));
  if (!set.guid().empty()) mappable->setGuid(set.guid());
  if (set.hasExerciseId()) mappable->setExerciseId(set.exerciseId());
  if (set.hasPostExerciseId()) mappable->setPostExerciseId(set.postExerciseId());
  if (set.hasResultGuid()) mappable->setResultGuid(set.resultGuid());
  if (set.hasCourseId()) mappable->setCourseId(set.courseId());
  return mappable;
}

std::shared_ptr<ExerciseSetAddRequest> requestWithCompletedSets(
    const std::vector<ExerciseCompletedSetEntity*>& sets, bool autoCorrection) {
  auto request = std::make_shared<ExerciseSetAddRequest>();
  RecordValue::Array bodies;
  for (auto* set : sets)
    if (set) bodies.push_back(mappableFromCompletedSet(*set)->serialized());
  request->setCompletedSets(RecordValue(std::move(bodies)));
  request->setAutoCorrection(autoCorrection);
  return request;
}

std::shared_ptr<ExerciseCompletedSetUpdateRequest> requestWithUpdate(
    const ExerciseCompletedSetUpdateEntity& update) {
  auto request = std::make_shared<ExerciseCompletedSetUpdateRequest>();
  if (!update.guid().empty()) request->setGuid(update.guid());
  if (update.hasComment()) request->setComment(update.comment());
  if (update.hasRepeats()) request->setRepeats(update.repeats());
  if (update.hasValue()) request->setValue(update.value());
  return request;
}

std::shared_ptr<WorkoutResultsAddRequest> requestWithWorkoutResults(
    const WorkoutResultsEntity& result) {
  auto request = std::make_shared<WorkoutResultsAddRequest>();
  if (result.hasStartedAt()) request->setStartedAt(serverDateTimeString(result.startedAt()));
  if (result.hasEndedAt()) request->setEndedAt(serverDateTimeString(result.endedAt()));
  if (!result.guid().empty()) request->setGuid(result.guid());
  if (result.hasPercentage()) request->setPercentage(result.percentage());
  if (result.hasRestTimeAverage()) request->setRestTimeAverage(result.restTimeAverage());
  if (result.hasAllWeight()) request->setAllWeight(result.allWeight());
  if (result.hasAllMinutes()) request->setAllMinutes(result.allMinutes());
  if (result.hasAllSeconds()) request->setAllSeconds(result.allSeconds());
  if (result.hasAllRepeats()) request->setAllRepeats(result.allRepeats());
  if (result.hasHeartRateAverage()) request->setHeartRateAverage(result.heartRateAverage());
  if (result.hasHeartRateMax()) request->setHeartRateMax(result.heartRateMax());
  if (result.hasHeartRateMin()) request->setHeartRateMin(result.heartRateMin());
  if (result.hasSteps()) request->setSteps(result.steps());
  if (result.hasCalories()) request->setCalories(result.calories());
  return request;
}

std::shared_ptr<WorkoutResultsUpdateRequest> requestWithUpdate(
    const WorkoutResultsUpdateEntity& update) {
  auto request = std::make_shared<WorkoutResultsUpdateRequest>();
  if (!update.guid().empty()) request->setGuid(update.guid());
  if (update.hasSteps()) request->setSteps(update.steps());
  if (update.hasCalories()) request->setCalories(update.calories());
  if (update.hasHeartRateAverage()) request->setHeartRateAverage(update.heartRateAverage());
  return request;
}

}  // namespace dm::training_requests
