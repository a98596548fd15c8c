// A set done by the client, recorded on the device under a guid. Corrections and removals are
// separate pending records with the same guid; readers see the corrected values through the
// updated... accessors.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Platform/ObjectStore/Predicate.h"
#include "Training/ExerciseCompletedSetEntityGenerated.h"

namespace dm {

class ExerciseCompletedSetUpdateEntity;
class ExerciseCompletedSetDeleteEntity;

// Threads and ownership as ManagedObject: use on the context's queue.
class ExerciseCompletedSetEntity : public ExerciseCompletedSetEntityGenerated {
 public:
  // Memoise the pending-record lookups (lists that read many sets at once).
  bool shouldCacheUpdateEntity = false;
  bool shouldCacheDeleteEntity = false;

  // The pending correction / removal with this guid in the record's context, if any.
  ExerciseCompletedSetUpdateEntity* updateEntity();
  ExerciseCompletedSetDeleteEntity* deleteEntity();
  // The correction's field when a correction exists (even an absent one), else the own field.
  std::optional<std::string> updatedComment();
  std::optional<std::int64_t> updatedRepeats();
  std::optional<double> updatedValue();
  void removeAllUpdateEntities();
  // Takes the pending correction (nullptr: none) from a caller that looked many up in one
  // query, and memoises it, so the updated... accessors make no lookup of their own.
  void primeUpdateEntity(ExerciseCompletedSetUpdateEntity* update) {
    shouldCacheUpdateEntity = true;
    updateAsked_ = true;
    cachedUpdate_ = update;
  }
  // Looks the pending corrections up in one query of `context` and primes each of `sets`
  // with its own (a list of sets would otherwise make one lookup per accessor call).
  // Sets of another context are left alone. Throws what the fetch throws (StoreError).
  static void primeUpdateEntities(ManagedObjectContext& context,
                                  const std::vector<ExerciseCompletedSetEntity*>& sets);
  // Lists longer than this read every pending correction instead of naming their guids.
  static constexpr std::size_t kGuidListLimit = 500;

  // The post exercise actually done (an alternative may have been chosen). Stored as
  // donePostExerciseId: store columns ignore letter case, and the exercise's postExerciseID
  // shares this table.
  std::int64_t postExerciseId() const { return donePostExerciseId(); }
  bool hasPostExerciseId() const { return hasDonePostExerciseId(); }
  void setPostExerciseId(std::int64_t id) { setDonePostExerciseId(id); }

  unsigned valueType() const { return static_cast<unsigned>(value_type()); }
  std::int64_t getCourseId() const;
  // "yyyyMMdd" of executedAt; the day key followed by the training day id; the same with the
  // execution time in seconds in place of the date.
  std::string dateKey() const;
  std::string trainingDayKey() const;
  std::string trainingDayKeyWithSeconds() const;
  // Seconds the set took: cardio minutes x 60, functional seconds, otherwise 2 s per repeat;
  // a negative result gives 60.
  double durationForExercise(const ExerciseEntity& exercise);
  // Done within the last 12 hours.
  bool isExecutedRecently() const;

  static Predicate notMarkedDeletePredicate();

  // --- Titles of history rows and charts (ExerciseCompletedSetTitles.cpp) ---
  // `type` codes the exercise kind: 0 power, 1 cardio, 2 functional by repeats, 3 functional
  // by seconds; other codes read as power. Weights are kilograms, shown in the user's units.
  // One set: "60 kg x 10 reps" (weight first).
  static std::optional<std::string> titleForExerciseType(std::int64_t type,
                                                         std::optional<double> value,
                                                         std::optional<std::int64_t> repeats);
  std::optional<std::string> titleForExerciseType(std::int64_t type);
  // A workout's sum: "30 reps   600 kg" (repeats first).
  static std::optional<std::string> sumTitleForExerciseType(std::int64_t type,
                                                            std::optional<double> value,
                                                            std::optional<std::int64_t> repeats);
  static std::optional<std::string> chartLeftTitleForExerciseType(std::int64_t type);
  static std::optional<std::string> chartRightTitleForExerciseType(std::int64_t type);
  static std::optional<std::string> chartLeftUnitsTemplateForExerciseType(std::int64_t type);
  // Nothing for codes 4 and above.
  static std::optional<std::string> chartAboutAnnotationForExerciseType(std::int64_t type);
  std::optional<double> chartLeftValueForExerciseType(std::int64_t type);
  // Repeats of power sets; nothing for the other kinds.
  std::optional<double> chartRightValueForExerciseType(std::int64_t type);

 private:
  bool updateAsked_ = false;
  ExerciseCompletedSetUpdateEntity* cachedUpdate_ = nullptr;
  bool deleteAsked_ = false;
  ExerciseCompletedSetDeleteEntity* cachedDelete_ = nullptr;
};

}  // namespace dm
