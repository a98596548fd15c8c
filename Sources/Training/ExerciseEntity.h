// One exercise of a training day: the post exercise to do, its set scheme, recommended values
// and superset links, with the rules that classify it, pick its current alternative, look up
// pyramid steps and score progress from completed sets.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "Platform/Foundation/Date.h"
#include "Platform/Host/EquipmentTypeRules.h"
#include "Training/ExerciseEntityGenerated.h"

namespace dm {

class HandbookPostExerciseEntity;

// The weight the training screens start from when nothing better is known; nothing in the
// library reads it.
inline constexpr std::int64_t kDefaultCalculatedWeight = 100;

// Threads and ownership as ManagedObject: use on the context's queue. Post exercises are read
// through HandbookAdapter by id (they live in another store), on the calling thread's
// handbook context. Stored fields and class operations come from the store model
// (ExerciseEntityGenerated); this class adds the behaviour.
class ExerciseEntity : public ExerciseEntityGenerated {
 public:
  static constexpr double defaultRestTimeValue = 120;

  // --- Transient editing state (never stored) ---
  bool isNew = false;
  bool mightTopConnection = false;
  bool mightBottomConnection = false;
  // While set, values and texts are computed for this alternative instead of the one chosen
  // on the device (history is judged by the alternative actually done).
  std::optional<std::int64_t> customAlternativeExercisePostId;

  // --- Integer views of the codes (an absent or unknown code reads as 0) ---
  int setTypeValue() const;
  int handbookTypeValue() const;
  int weightTypeValue() const;

  // --- Classification ---
  bool isStraight() const { return setTypeValue() == 0; }
  bool isPyramid() const { return setTypeValue() == 1; }
  bool isCardio() const { return handbookTypeValue() == 1; }
  bool isPower() const { return isKind(0); }
  bool isFunctionalRepeats() const { return isKind(2); }
  bool isFunctionalSeconds() const { return isKind(3); }
  // 2 for cardio, 0 for everything else (functional by seconds included, deliberately).
  unsigned exerciseValueType() const { return isCardio() ? 2u : 0u; }
  bool theOnlyFieldIsValue() const { return isCardio() || isFunctionalSeconds(); }
  bool isOneArmType() const;
  bool isOneLegType() const;
  bool isOneSideType() const;
  bool isAnyTypeOfOneSide() const { return isOneArmType() || isOneLegType() || isOneSideType(); }
  // 1 one arm, 2 one leg, 3 one side, 0 none.
  int exerciseWhichSideType() const;
  double recommendedWeightMultiplyer() const;
  bool isIgnorableWeight() const;
  bool isRecommendedWeightWithBar() const;
  bool isOneArmExtraExplanation() const;

  // --- Superset links ---
  bool isTopConnection() const { return topSupersetConnection(); }
  bool isBottomConnection() const { return bottomSupersetConnection(); }
  void setTopConnection(bool value);
  void setBottomConnection(bool value);
  void clearConnections();
  bool hasConnections() const { return isTopConnection() || isBottomConnection(); }
  bool isEmptyConnections() const { return !hasConnections(); }
  bool isInSuperset() const { return hasSuperset(); }
  bool isEqualSuperset(std::int64_t number) const { return hasSuperset() && superset() == number; }

  // --- Post exercises (through HandbookAdapter) ---
  HandbookPostExerciseEntity* postExerciseForId(std::int64_t postExerciseId) const;
  HandbookPostExerciseEntity* mainPostExercise() const;
  HandbookPostExerciseEntity* postExercise() const { return mainPostExercise(); }
  void updatePostExercise(const HandbookPostExerciseEntity& postExercise);
  // The alternative chosen on the device for this exercise, if any.
  std::optional<std::int64_t> selectedCustomExerciseId() const;
  std::int64_t currentPostExerciseIdForPostExerciseId(std::optional<std::int64_t> id) const;
  HandbookPostExerciseEntity* currentPostExerciseForPostExerciseId(
      std::optional<std::int64_t> id) const;
  HandbookPostExerciseEntity* currentPostExercise() const {
    return currentPostExerciseForPostExerciseId(customAlternativeExercisePostId);
  }
  // Main post exercise ids of the day's exercises, in the day's order.
  std::vector<std::int64_t> mainExercisesIds() const;
  // The main post exercise's alternatives that may be offered, memoised; nothing when it has
  // none.
  std::optional<std::vector<std::int64_t>> alternativeIds();
  bool isCanBeAlternativeWithPostExerciseId(std::int64_t postExerciseId) const;
  // none -> first alternative -> ... -> last -> none (the main exercise); posts
  // kAlternativePostExercisesChanged.
  void rotateCurrentPostExerciseToNext();
  // The course id through the training day (0 without one).
  std::int64_t getCourseId() const;

  // --- Values for the current alternative ---
  // The alternative values list; anything that is not a list reads as empty.
  nlohmann::json alternativeValuesArray() const;
  double recommendedRepeatsValueForPostExerciseId(std::optional<std::int64_t> id) const;
  double recommendedWeightValueForPostExerciseId(std::optional<std::int64_t> id) const;
  nlohmann::json recommendedPyramidArrayForPostExerciseId(std::optional<std::int64_t> id) const;
  double recommendedRepeatsValueCurrent() const {
    return recommendedRepeatsValueForPostExerciseId(customAlternativeExercisePostId);
  }
  double recommendedWeightValueCurrent() const {
    return recommendedWeightValueForPostExerciseId(customAlternativeExercisePostId);
  }
  nlohmann::json recommendedPyramidArray() const {
    return recommendedPyramidArrayForPostExerciseId(customAlternativeExercisePostId);
  }

  // --- Pyramids and per-set values ---
  void setRecommendedPyramidArray(const nlohmann::json& steps);
  // Weights in the user's units (kind 0) or percents (kind 1).
  void setRecommendedPyramidWithRepeats(const std::vector<double>& repeats,
                                        const std::vector<double>& weights);
  // (repeats, weights) of the steps with both values, weights in the user's units for kind 0.
  std::pair<std::vector<double>, std::vector<double>> recommendedPyramidSimpleArrays() const;
  double setsCount() const;
  double repeatsCount() const;
  // The pyramid step (index modulo step count); nothing for a pyramid without steps.
  std::optional<double> repeatsIncludingPiramidForSet(std::size_t index) const;
  std::optional<double> weightIncludingPiramidForSet(std::size_t index) const;
  double restTimeOrDefaultValue() const {
    return hasRestTime() ? restTime() : defaultRestTimeValue;
  }
  double setTimeOrDefaultValue() const;
  bool isTarget() const;

  // --- Weight texts of the editing screens ---
  // "12,5" in the user's units, stored in kilograms.
  void setRecommendedWeightValueString(const std::string& text);
  std::string recommendedWeightValueString() const;
  std::string recommendedWeightValueStringForSet(std::size_t index) const;

  // --- Completed sets and progress ---
  std::vector<ExerciseCompletedSetEntity*> orderedCompletedSets() const;
  // Completed sets of the exercise's course that are not marked deleted.
  Predicate allCompletedSetsPredicate() const;
  Predicate thisExerciseOnlyCompletedSetsPredicate() const;
  // 0..1: the share of the planned sets done since `start` (all history without one).
  double progressMade(std::optional<Date> start);
  // The same over sets already fetched (the course's sets, oldest first; sets of other
  // exercises are skipped), for screens that score many exercises from one query.
  double progressMadeForSets(const std::vector<ExerciseCompletedSetEntity*>& sets,
                             std::optional<Date> start);

  // --- One-line recommendation texts (ExerciseRecommendationTexts.cpp) ---
  // Editing mirrors of the sets count and the cardio fields; the sets text defaults to the
  // stored recommendedSets.
  std::optional<std::string> recommendedSetsStringOverride;
  std::string recommendedDurationString;
  std::string recommendedMinimumPulse;
  std::string recommendedMaximumPulse;
  std::optional<std::string> recommendedSetsString() const;
  // 3x10x60 kg; 10x60 kg - 8x70 kg for a pyramid; 3x30 min, 120 - 140 bpm for cardio.
  std::optional<std::string> recommendation();
  std::optional<std::string> recommendationCardioIncludeSets(bool includeSets);
  // `weight` and `repeats` are numbers or texts; anything not above 0 counts as absent.
  std::optional<std::string> recomendationByWeight(const nlohmann::json& weight,
                                                   const nlohmann::json& repeats);
  std::optional<std::string> recomendationStraightWithRepeats(
      const nlohmann::json& repeats, const std::optional<std::string>& setsText);
  std::optional<std::string> recomendationPyramid();
  std::optional<std::string> recomendationPyramidForSet(std::size_t index);
  // Texts joined pairwise with the join format ("%@x%@", isolated x right to left).
  static std::optional<std::string> concatenate(const std::vector<std::string>& texts);
  static std::optional<std::string> rtlIsolateIfNeeded(const std::optional<std::string>& text);
  static bool isRTL();

  // --- Sentences and explanations (ExerciseRecommendationSentence.cpp,
  // ExerciseExplanationTexts.cpp) ---
  // The sentence for one set: "Recommended weight: 60 kg" with the equipment's wording; the
  // value is wrapped in the tags when an open tag is given (markup of the screens).
  std::optional<std::string> recommendationNoRepeatsAndNoSetsForSet(std::size_t index) {
    return recommendationNoRepeatsAndNoSetsForSet(index, "", "");
  }
  std::optional<std::string> recommendationNoRepeatsAndNoSetsForSet(std::size_t index,
                                                                    const std::string& openTag,
                                                                    const std::string& closeTag);
  // The equipment sentence around weight text `weight` (bar weight and length named in the
  // user's units when the weight includes a bar).
  std::string straightRecomendationTextForWeightString(const std::string& weight,
                                                       const std::string& openTag,
                                                       const std::string& closeTag);
  std::optional<std::string> repeatsExplanationText();
  std::optional<std::string> weigthExplanationText();
  // The per-side repeats of alternately done exercises above the trainer's comment.
  std::optional<std::string> fixedCommentForSet(std::size_t index);

  // --- Requests ---
  // The body sent when a day's exercises are saved: no "id" before the server has seen the
  // exercise, no "_delete" unless it is to be deleted.
  nlohmann::json serialized() const;

  // Exercises that are neither marked for deletion nor deleted.
  static Predicate deletePredicate();
  // A new draft exercise of `postExerciseId` in the day's context (not saved); nullptr without
  // a day or when the handbook has no such post exercise.
  static ExerciseEntity* createExerciseWithPostID(std::int64_t postExerciseId,
                                                  TrainingDayEntity* trainingDay);
  // Deletes, in `context`, every exercise whose training day has no server id.
  static void deleteAllExercisesWithNilEntityId(ManagedObjectContext& context);

 private:
  bool isKind(int kind) const;
  std::optional<std::int64_t> currentEquipmentType() const;
  bool currentEquipmentHolds(EquipmentTypeRule rule) const;
  std::optional<nlohmann::json> alternativeEntry(std::optional<std::int64_t> id,
                                                 const char* key) const;
  std::optional<std::vector<std::int64_t>> cachedAlternativeIds_;
};

}  // namespace dm
