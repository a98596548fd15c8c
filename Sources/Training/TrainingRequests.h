// Builders of the requests that upload completed sets and workout results recorded on the
// device, and their pending corrections.
#pragma once

#include <memory>
#include <vector>

#include "Training/ExerciseCompletedSetMappable.h"
#include "Training/ExerciseCompletedSetUpdateRequest.h"
#include "Training/ExerciseSetAddRequest.h"
#include "Training/WorkoutResultsAddRequest.h"
#include "Training/WorkoutResultsUpdateRequest.h"

namespace dm {

class ExerciseCompletedSetEntity;
class ExerciseCompletedSetUpdateEntity;
class WorkoutResultsEntity;
class WorkoutResultsUpdateEntity;

// Read the records on their context's queue.
namespace training_requests {

// The set as the add request sends it; the execution time as a server date-time text.
std::shared_ptr<ExerciseCompletedSetMappable> mappableFromCompletedSet(
    ExerciseCompletedSetEntity& set);
// Every set serialised in order, with the auto-correction flag.
std::shared_ptr<ExerciseSetAddRequest> requestWithCompletedSets(
    const std::vector<ExerciseCompletedSetEntity*>& sets, bool autoCorrection);
std::shared_ptr<ExerciseCompletedSetUpdateRequest> requestWithUpdate(
    const ExerciseCompletedSetUpdateEntity& update);
std::shared_ptr<WorkoutResultsAddRequest> requestWithWorkoutResults(
    const WorkoutResultsEntity& result);
std::shared_ptr<WorkoutResultsUpdateRequest> requestWithUpdate(
    const WorkoutResultsUpdateEntity& update);

}  // namespace training_requests
}  // namespace dm
