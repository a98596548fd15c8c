// The course screen: days by week with their totals and progress from one pass over the
// course's completed sets.
#include "Training/TrainingCourseScreen.h"

#include <algorithm>
#include <cmath>
#include <unordered_map>

#include "Handbook/Adapter/HandbookAdapter.h"
#include "Mapping/Enumerations/Enumerations.h"
#include "Platform/ObjectStore/FetchRequest.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Training/ExerciseCompletedSetEntity.h"
#include "Training/ExerciseCompletedSetUpdateEntity.h"
#include "Training/ExerciseEntity.h"
#include "Training/TrainingCourseEntity.h"
#include "Training/TrainingCoursePresetEntity.h"
#include "Training/TrainingDayEntity.h"

namespace dm {

namespace {

std::int64_t daysPerWeekOfFrequency(FrequencyType frequency) {
  switch (frequency) {
    case FrequencyType::TwoTimesAWeek:
      return 2;
    case FrequencyType::ThreeTimesAWeek:
      return 3;
    case FrequencyType::FourTimesAWeek:
      return 4;
    case FrequencyType::FiveTimesAWeek:
      return 5;
    case FrequencyType::SixTimesAWeek:
      return 6;
    case FrequencyType::EveryOtherDay:
      return 4;  // alternates 4 and 3; weeks start on a workout
    case FrequencyType::Unknown:
      break;
  }
  return 0;
}

// The course's sets not removed, oldest first, by exercise id; corrections attached.
std::unordered_map<std::int64_t, std::vector<ExerciseCompletedSetEntity*>> setsByExercise(
    TrainingCourseEntity& course) {
  std::unordered_map<std::int64_t, std::vector<ExerciseCompletedSetEntity*>> byExercise;
  auto* context = course.managedObjectContext();
  if (!context) return byExercise;

  FetchRequest request(context->model().entityNamed(ExerciseCompletedSetEntity::kEntityName));
  request.predicate = Predicate::andPredicate(
      {Predicate::keyEquals("exersice.trainingDay.cource.entityID", Value(course.entityID())),
       ExerciseCompletedSetEntity::notMarkedDeletePredicate()});
  request.sortDescriptors = {{"executedAt", true}};
  std::vector<ExerciseCompletedSetEntity*> sets;
  for (auto* object : context->executeFetchRequest(request))
    if (auto* set = dynamic_cast<ExerciseCompletedSetEntity*>(object)) sets.push_back(set);
  ExerciseCompletedSetEntity::primeUpdateEntities(*context, sets);
  for (auto* set : sets) byExercise[set->exerciseId()].push_back(set);
  return byExercise;
}

enum class DoneKind { Power, Cardio, FunctionalSeconds, FunctionalRepeats, Other };

// Classified once per exercise: each test may look the post exercise up in the handbook.
DoneKind doneKindOf(const ExerciseEntity& exercise) {
  if (exercise.isCardio()) return DoneKind::Cardio;
  if (exercise.isFunctionalSeconds()) return DoneKind::FunctionalSeconds;
  if (exercise.isFunctionalRepeats()) return DoneKind::FunctionalRepeats;
  if (exercise.isPower()) return DoneKind::Power;
  return DoneKind::Other;
}

void addSet(TrainingDayTotals& totals, DoneKind kind, ExerciseCompletedSetEntity& set) {
  double value = set.updatedValue().value_or(0);
  std::int64_t repeats = set.updatedRepeats().value_or(0);
  if (!std::isfinite(value)) value = 0;
  ++totals.sets;
  switch (kind) {
    case DoneKind::Cardio:
      totals.minutes += value;
      break;
    case DoneKind::FunctionalSeconds:
      totals.seconds += value;
      break;
    case DoneKind::FunctionalRepeats:
      totals.repeats += repeats;
      break;
    case DoneKind::Power:
      totals.kilograms += value * static_cast<double>(repeats);
      totals.repeats += repeats;
      break;
    case DoneKind::Other:
      break;
  }
}

}  // namespace

std::int64_t trainingDaysPerWeek(const TrainingCourseEntity& course, std::size_t dayCount) {
  auto count = static_cast<std::int64_t>(dayCount);
  if (course.length() > 0 && count > 0)
    return std::max<std::int64_t>(1, (count + course.length() - 1) / course.length());
  if (auto* preset = course.preset())
    if (auto frequency = preset->frequency())
      if (auto perWeek = daysPerWeekOfFrequency(*frequency)) return perWeek;
  if (course.scheduleType() == static_cast<int>(TrainingCourseScheduleType::Cyclic))
    return course.cyclicScheduleWorkoutDays();
  return std::max<std::int64_t>(1, count);
}

TrainingCourseScreen trainingCourseScreen(TrainingCourseEntity& course) {
  TrainingCourseScreen screen;
  auto days = course.sortedTrainingDays();
  screen.daysPerWeek = trainingDaysPerWeek(course, days.size());
  auto sets = setsByExercise(course);
  const std::vector<ExerciseCompletedSetEntity*> none;
  // Every exercise is classified by its post exercise: look them all up in one query.
  std::vector<std::vector<ExerciseEntity*>> exercisesByDay;
  std::vector<std::int64_t> postIds;
  for (auto* day : days) {
    exercisesByDay.push_back(day->exercises());
    for (auto* exercise : exercisesByDay.back()) {
      postIds.push_back(exercise->postExerciseID());
      postIds.push_back(exercise->currentPostExerciseIdForPostExerciseId(
          exercise->customAlternativeExercisePostId));
    }
  }
  HandbookAdapter::shared().prefetchPostExerciseEntities(postIds);

  std::int64_t index = 0;
  for (std::size_t d = 0; d < days.size(); ++d) {
    auto* day = days[d];
    TrainingCourseScreenDay row;
    row.day = day;
    row.dayId = day->entityID();
    row.displayPosition = index + 1;
    row.week = index / screen.daysPerWeek + 1;
    row.title = day->title();
    auto reset = day->fixedProgressResetAt();
    const auto& exercises = exercisesByDay[d];
    double progress = 0;
    for (auto* exercise : exercises) {
      auto found = sets.find(exercise->entityID());
      const auto& done = found == sets.end() ? none : found->second;
      auto kind = doneKindOf(*exercise);
      for (auto* set : done) addSet(row.totals, kind, *set);
      progress += exercise->progressMadeForSets(done, reset);
    }
    if (!exercises.empty()) progress /= static_cast<double>(exercises.size());
    row.progress = std::isfinite(progress) ? progress : 0;
    screen.days.push_back(std::move(row));
    ++index;
  }
  return screen;
}

}  // namespace dm
