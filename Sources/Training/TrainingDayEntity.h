// One training day of a course: its exercises in order with their superset links, unlock and
// skip times, planned totals valued for the alternatives actually done, and progress.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Foundation/Date.h"
#include "Platform/ObjectStore/FetchRequest.h"
#include "Training/TrainingDayEntityGenerated.h"

namespace dm {

class ExerciseCompletedSetEntity;

// Completed sets by exercise entityID, each list in the order the sets were done.
using CompletedSetsByExercise = std::map<std::int64_t, std::vector<ExerciseCompletedSetEntity*>>;

// Threads and ownership as ManagedObject: use on the context's queue. Stored fields and class
// operations come from the store model (TrainingDayEntityGenerated); this class adds the
// behaviour. Times are judged against Clock::shared().
class TrainingDayEntity : public TrainingDayEntityGenerated {
 public:
  // The first day with this server id in `context`; nullptr without one.
  static TrainingDayEntity* entity(ManagedObjectContext& context, std::int64_t entityID);
  // The day sort order: position, then entityID.
  static std::vector<SortDescriptor> sortingDescriptors();
  static bool sortsBefore(const TrainingDayEntity* a, const TrainingDayEntity* b);

  // --- Unlock and skip ---
  // skipPossibility is "can" or "timeout".
  bool isCanBeSkipped() const;
  // unlockedAt / skipUnlockedAt read as server date-times; nothing when absent or unreadable.
  std::optional<Date> unlockedAtDate() const;
  std::optional<Date> skipUnlockedAtDate() const;
  // No date, or the date is not in the future.
  bool unlockedAtDateExpired() const;
  bool skipUnlocked() const;
  // Time left as "HH:mm:ss"; "00:00:00" without a date.
  std::string unlockedAtFromNow() const;
  std::string skipUnlockedAtFromNow() const;
  // The day's own progress reset, else its course's (looked up by courseId).
  std::optional<Date> fixedProgressResetAt() const;
  // "Training N" in the interface language, N in local digits.
  static std::string positionStringForIndex(std::int64_t index);

  // --- Exercises ---
  // Completed sets of this day's exercises done strictly between the dates, oldest first.
  std::vector<ExerciseCompletedSetEntity*> allCompletedSetsFromDate(Date from, Date to) const;
  // Every exercise of the day (deleted ones too), by position then entityID.
  std::vector<ExerciseEntity*> sortedExercisesWithDeletedForEditing() const;
  // Exercises neither marked for deletion nor deleted, by position then entityID.
  std::vector<ExerciseEntity*> sortedExercises() const;
  std::vector<ExerciseEntity*> exercisesArray() const { return exercises(); }
  std::vector<ExerciseEntity*> notDeletedExercisesArray() const;
  // The handbook exercise type codes of the day's exercises, each once, in first-seen order.
  std::vector<std::string> exerciseTypesArray() const;

  // --- Superset links ---
  // Numbers positions (when asked) and sets each exercise's link flags from its neighbours'
  // superset numbers. Links are written only when they change.
  static void prepareForConnections(const std::vector<ExerciseEntity*>& exercises,
                                    bool updatePositions = true);
  void prepareSortedExercisesForConnections() { prepareForConnections(sortedExercises()); }
  bool hasConnections() const;
  // Marks every exercise and then the day for deletion.
  void markAsDeleted();

  // --- Planned totals (what the plan asked for, per set, valued for the alternative done) ---
  // Cardio minutes, times the sets count when there are several sets.
  double allMinutes() const;
  std::int64_t allRepeatsForCompletedSets(const CompletedSetsByExercise& sets);
  // Kilograms or pounds as the day's units say.
  double allWeightInCurrentUnitsForCompletedSets(const CompletedSetsByExercise& sets);
  double allSecondsForCompletedSets(const CompletedSetsByExercise& sets);
  // Mean of the exercises' progress since `start`; 0 without exercises.
  double progressMade(std::optional<Date> start);
  bool isTarget() const;
};

}  // namespace dm
