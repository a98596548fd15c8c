// Training day behaviour: order, unlock and skip times, exercises, superset links, planned
// totals and progress.
#include "Training/TrainingDayEntity.h"

#include <algorithm>
#include <cmath>

#include "Platform/Foundation/Clock.h"
#include "Platform/Foundation/DateFormatting.h"
#include "Platform/Foundation/LocaleServices.h"
#include "Platform/Foundation/Localization.h"
#include "Platform/Foundation/StringFormat.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Training/ExerciseCompletedSetEntity.h"
#include "Training/ExerciseEntity.h"
#include "Training/TrainingCourseEntity.h"
#include "Units/UnitsHelper.h"

namespace dm {

namespace {

bool exerciseSortsBefore(const ExerciseEntity* a, const ExerciseEntity* b) {
  if (a->position() != b->position()) return a->position() < b->position();
  return a->entityID() < b->entityID();
}

std::optional<Date> serverDate(bool present, const std::string& text) {
  if (!present) return std::nullopt;
  return dateFromServerString(text);
}

bool notInFuture(std::optional<Date> date) {
  return !date || date->timeIntervalSinceDate(Clock::shared()->now()) <= 0;
}

std::string timeLeft(std::optional<Date> date) {
  if (!date) return "00:00:00";
  return shortClockString(date->timeIntervalSinceDate(Clock::shared()->now()));
}

// Values each planned set for the alternative actually done in the k-th completed set (or
// the chosen one when fewer sets were done) and calls `add(exercise, k)`; restores the
// exercises' alternatives afterwards. Cardio exercises are left out.
template <class Add>
void forEachPlannedSet(const std::vector<ExerciseEntity*>& exercises,
                       const CompletedSetsByExercise& sets, Add&& add) {
  for (auto* exercise : exercises) {
    if (exercise->isCardio()) continue;
    auto saved = exercise->customAlternativeExercisePostId;
    auto done = sets.find(exercise->entityID());
    auto planned = static_cast<std::size_t>(std::max(0.0, exercise->setsCount()));
    for (std::size_t k = 0; k < planned; ++k) {
      if (done != sets.end()) {
        const auto& list = done->second;
        if (k < list.size() && list[k] && list[k]->hasPostExerciseId())
          exercise->customAlternativeExercisePostId = list[k]->postExerciseId();
        else
          exercise->customAlternativeExercisePostId.reset();
      }
      add(*exercise, k);
    }
    exercise->customAlternativeExercisePostId = saved;
  }
}

double plannedRepeats(const ExerciseEntity& exercise, std::size_t k) {
  if (exercise.isPyramid()) return exercise.repeatsIncludingPiramidForSet(k).value_or(0);
  return exercise.recommendedRepeatsValueCurrent();
}

}  // namespace

TrainingDayEntity* TrainingDayEntity::entity(ManagedObjectContext& context, std::int64_t entityID) {
  FetchRequest request(context.model().entityNamed(kEntityName));
  request.predicate = Predicate::keyEquals("entityID", Value(entityID));
  request.fetchLimit = 1;
  auto found = context.executeFetchRequest(request);
  return found.empty() ? nullptr : dynamic_cast<TrainingDayEntity*>(found.front());
}

std::vector<SortDescriptor> TrainingDayEntity::sortingDescriptors() {
  return {{"position", true}, {"entityID", true}};
}

bool TrainingDayEntity::sortsBefore(const TrainingDayEntity* a, const TrainingDayEntity* b) {
  if (a->position() != b->position()) return a->position() < b->position();
  return a->entityID() < b->entityID();
}

bool TrainingDayEntity::isCanBeSkipped() const {
  auto text = skipPossibility();
  return text == "can" || text == "timeout";
}

std::optional<Date> TrainingDayEntity::unlockedAtDate() const {
  return serverDate(hasUnlockedAt(), unlockedAt());
}
std::optional<Date> TrainingDayEntity::skipUnlockedAtDate() const {
  return serverDate(hasSkipUnlockedAt(), skipUnlockedAt());
}
bool TrainingDayEntity::unlockedAtDateExpired() const {
  return notInFuture(unlockedAtDate());
}
bool TrainingDayEntity::skipUnlocked() const {
  return notInFuture(skipUnlockedAtDate());
}
std::string TrainingDayEntity::unlockedAtFromNow() const {
  return timeLeft(unlockedAtDate());
}
std::string TrainingDayEntity::skipUnlockedAtFromNow() const {
  return timeLeft(skipUnlockedAtDate());
}

std::optional<Date> TrainingDayEntity::fixedProgressResetAt() const {
  if (hasProgressResetAt()) return progressResetAt();
  auto* context = managedObjectContext();
  if (!context) return std::nullopt;
  auto* course = TrainingCourseEntity::entity(*context, courseId());
  if (!course || !course->hasProgressResetAt()) return std::nullopt;
  return course->progressResetAt();
}

std::string TrainingDayEntity::positionStringForIndex(std::int64_t index) {
  auto format = localizedString("TrainingDay.Training").value_or("Training %@");
  return stringWithFormat(format, localizedNumberString(static_cast<double>(index)));
}

std::vector<ExerciseCompletedSetEntity*> TrainingDayEntity::allCompletedSetsFromDate(
    Date from, Date to) const {
  std::vector<ExerciseCompletedSetEntity*> sets;
  auto* context = managedObjectContext();
  if (!context) return sets;
  FetchRequest request(context->model().entityNamed(ExerciseCompletedSetEntity::kEntityName));
  request.predicate = Predicate::parse(
      "%K == %@ && %K > %@ && %K < %@",
      {Value(std::string("exersice.trainingDayId")), Value(entityID()),
       Value(std::string("executedAt")), Value(from), Value(std::string("executedAt")), Value(to)});
  request.sortDescriptors = {{"executedAt", true}};
  for (auto* object : context->executeFetchRequest(request))
    if (auto* set = dynamic_cast<ExerciseCompletedSetEntity*>(object)) sets.push_back(set);
  return sets;
}

std::vector<ExerciseEntity*> TrainingDayEntity::sortedExercisesWithDeletedForEditing() const {
  auto list = exercises();
  std::sort(list.begin(), list.end(), exerciseSortsBefore);
  return list;
}

std::vector<ExerciseEntity*> TrainingDayEntity::notDeletedExercisesArray() const {
  std::vector<ExerciseEntity*> list;
  for (auto* exercise : exercises())
    if (!exercise->markDeleted() && exercise->status() != EntityStatus::Deleted)
      list.push_back(exercise);
  return list;
}

std::vector<ExerciseEntity*> TrainingDayEntity::sortedExercises() const {
  auto list = notDeletedExercisesArray();
  std::sort(list.begin(), list.end(), exerciseSortsBefore);
  return list;
}

std::vector<std::string> TrainingDayEntity::exerciseTypesArray() const {
  std::vector<std::string> types;
  for (auto* exercise : sortedExercises()) {
    if (!exercise->hasHandbookTypeString()) continue;
    auto code = exercise->handbookTypeString();
    if (std::find(types.begin(), types.end(), code) == types.end()) types.push_back(code);
  }
  return types;
}

void TrainingDayEntity::prepareForConnections(const std::vector<ExerciseEntity*>& exercises,
                                              bool updatePositions) {
  const std::size_t count = exercises.size();
  for (std::size_t i = 0; i < count; ++i) {
    auto* exercise = exercises[i];
    if (!exercise) continue;
    auto position = static_cast<std::int64_t>(i + 1);
    if (updatePositions && (!exercise->hasPosition() || exercise->position() != position))
      exercise->setPosition(position);
    exercise->mightTopConnection = i > 0;
    exercise->mightBottomConnection = i + 1 < count;
    if (exercise->isInSuperset()) {
      auto number = exercise->superset();
      bool top = i > 0 && exercises[i - 1] && exercises[i - 1]->isEqualSuperset(number);
      bool bottom = i + 1 < count && exercises[i + 1] && exercises[i + 1]->isEqualSuperset(number);
      exercise->setTopConnection(top);
      exercise->setBottomConnection(bottom);
    } else {
      exercise->setTopConnection(false);
      exercise->setBottomConnection(false);
    }
  }
}

bool TrainingDayEntity::hasConnections() const {
  auto list = sortedExercises();
  return std::any_of(list.begin(), list.end(),
                     [](ExerciseEntity* exercise) { return exercise->hasConnections(); });
}

void TrainingDayEntity::markAsDeleted() {
  for (auto* exercise : exercises()) exercise->setMarkDeleted(true);
  setMarkDeleted(true);
}

double TrainingDayEntity::allMinutes() const {
  double minutes = 0;
  for (auto* exercise : sortedExercises()) {
    if (!exercise->isCardio()) continue;
    double value = static_cast<double>(exercise->recommendedSets());
    if (exercise->setsCount() >= 2) value *= exercise->setsCount();
    minutes += value;
  }
  return minutes;
}

std::int64_t TrainingDayEntity::allRepeatsForCompletedSets(const CompletedSetsByExercise& sets) {
  std::int64_t repeats = 0;
  forEachPlannedSet(sortedExercises(), sets, [&](ExerciseEntity& exercise, std::size_t k) {
    if (exercise.isPower() || exercise.isFunctionalRepeats())
      repeats += static_cast<std::int64_t>(plannedRepeats(exercise, k));
  });
  return repeats;
}

double TrainingDayEntity::allWeightInCurrentUnitsForCompletedSets(
    const CompletedSetsByExercise& sets) {
  double weight = 0;
  bool target = isTarget();
  forEachPlannedSet(sortedExercises(), sets, [&](ExerciseEntity& exercise, std::size_t k) {
    if (!exercise.isPower() || exercise.isIgnorableWeight()) return;
    double kilograms = exercise.isPyramid() ? exercise.weightIncludingPiramidForSet(k).value_or(0)
                                            : exercise.recommendedWeightValueCurrent();
    weight += UnitsHelper::weightToUnitsTarget(kilograms, target) * plannedRepeats(exercise, k) *
              exercise.recommendedWeightMultiplyer();
  });
  return weight;
}

double TrainingDayEntity::allSecondsForCompletedSets(const CompletedSetsByExercise& sets) {
  double seconds = 0;
  forEachPlannedSet(sortedExercises(), sets, [&](ExerciseEntity& exercise, std::size_t) {
    if (exercise.isFunctionalSeconds())
      seconds +=
          static_cast<double>(static_cast<std::int64_t>(exercise.recommendedRepeatsValueCurrent()));
  });
  return seconds;
}

double TrainingDayEntity::progressMade(std::optional<Date> start) {
  auto list = exercises();
  if (list.empty()) return 0;
  double sum = 0;
  for (auto* exercise : list) sum += exercise->progressMade(start);
  double mean = sum / static_cast<double>(list.size());
  return std::isfinite(mean) ? mean : 0;
}

bool TrainingDayEntity::isTarget() const {
  return UnitsHelper::currentProgrammIsTarget();
}

}  // namespace dm
