// Titles of completed sets in history lists, workout sums and charts, in the user's units and
// language (the repeats wording follows the number's plural form).
#include <string>

#include "Platform/Foundation/LocaleServices.h"
#include "Platform/Foundation/Localization.h"
#include "Platform/Foundation/PluralForms.h"
#include "Platform/Foundation/StringFormat.h"
#include "Training/ExerciseCompletedSetEntity.h"
#include "Units/UnitsHelper.h"

namespace dm {

namespace {

enum Kind { kPower = 0, kCardio = 1, kRepeats = 2, kSeconds = 3 };

Kind kindOf(std::int64_t type) {
  return type >= 1 && type <= 3 ? static_cast<Kind>(type) : kPower;
}

// The key's template (its plural variant for `number`) filled with the localised number. A
// template without a placeholder (a bare unit) gets the number in front.
std::string filled(const char* key, double number) {
  std::string text = localizedPluralString(key, number).value_or("");
  std::string numberText = localizedNumberString(number);
  if (text.find('%') == std::string::npos) return stringWithFormat("%@ %@", numberText, text);
  return stringWithFormat(text, numberText);
}

bool isPounds() {
  return UnitsHelper::weightUnits() == 1;
}

}  // namespace

std::optional<std::string> ExerciseCompletedSetEntity::titleForExerciseType(
    std::int64_t type, std::optional<double> value, std::optional<std::int64_t> repeats) {
  const double v = value.value_or(0);
  const auto r = static_cast<double>(repeats.value_or(0));
  switch (kindOf(type)) {
    case kCardio: {
      std::string title = filled("Exercise.MinutesUnitTemplate", v);
      if (repeats.value_or(0) != 0)
        title += stringWithFormat(" - %@", filled("ExerciseHistory.PulseUnitReduction", r));
      return title;
    }
    case kRepeats:
      return filled("Exercise.RepeatsUnitTemplate", r);
    case kSeconds:
      return filled("Exercise.SecondsUnitTemplate", v);
    case kPower:
      break;
  }
  std::string reps = filled("ExerciseHistory.RepsUnitReduction", r);
  if (v <= 0) return reps;
  std::string weight = filled(isPounds() ? "Exercise.WeightUnit.lbs" : "Exercise.WeightUnit.kg",
                              UnitsHelper::weightToUnits(v));
  return stringWithFormat("%@ x %@", weight, reps);
}

std::optional<std::string> ExerciseCompletedSetEntity::titleForExerciseType(std::int64_t type) {
  auto v = updatedValue();
  auto r = updatedRepeats();
  return titleForExerciseType(type, v, r);
}

std::optional<std::string> ExerciseCompletedSetEntity::sumTitleForExerciseType(
    std::int64_t type, std::optional<double> value, std::optional<std::int64_t> repeats) {
  const double v = value.value_or(0);
  const auto r = static_cast<double>(repeats.value_or(0));
  switch (kindOf(type)) {
    case kCardio: {
      std::string title = filled("WorkoutResult.Minutes", v);
      if (repeats.value_or(0) != 0)
        title += stringWithFormat("   %@", filled("WorkoutResult.PulseUnitReduction", r));
      return title;
    }
    case kRepeats:
      return filled("WorkoutResult.Repeats", r);
    case kSeconds:
      return filled("WorkoutResult.Seconds", v);
    case kPower:
      break;
  }
  std::string reps = filled("WorkoutResult.Repeats", r);
  if (v <= 0) return reps;
  std::string weight = filled(isPounds() ? "WorkoutResult.Pounds" : "WorkoutResult.Kilograms",
                              UnitsHelper::weightToUnits(v));
  return stringWithFormat("%@   %@", reps, weight);
}

std::optional<std::string> ExerciseCompletedSetEntity::chartLeftTitleForExerciseType(
    std::int64_t type) {
  switch (kindOf(type)) {
    case kCardio:
      return localizedString("Exercise.MinutesUnit");
    case kRepeats:
      return localizedString("Exercise.RepeatsUnit");
    case kSeconds:
      return localizedString("Exercise.SecondsUnit");
    case kPower:
      break;
  }
  return UnitsHelper::weightUnitsStringShort();
}

std::optional<std::string> ExerciseCompletedSetEntity::chartRightTitleForExerciseType(
    std::int64_t type) {
  return localizedString(kindOf(type) == kPower ? "Exercise.RepeatsUnit" : "Exercise.SetsUnit");
}

std::optional<std::string> ExerciseCompletedSetEntity::chartLeftUnitsTemplateForExerciseType(
    std::int64_t type) {
  switch (kindOf(type)) {
    case kCardio:
      return localizedString("Exercise.MinutesUnitTemplate");
    case kRepeats:
      return localizedString("Exercise.RepeatsUnitTemplate");
    case kSeconds:
      return localizedString("Exercise.SecondsUnitTemplate");
    case kPower:
      break;
  }
  return UnitsHelper::weightUnitsStringShortTemplate();
}

std::optional<std::string> ExerciseCompletedSetEntity::chartAboutAnnotationForExerciseType(
    std::int64_t type) {
  if (type >= 4) return std::nullopt;
  switch (kindOf(type)) {
    case kCardio:
      return localizedString("block_exercise_chart_info_cardio");
    case kRepeats:
      return localizedString("block_exercise_chart_info_repeats");
    case kSeconds:
      return localizedString("block_exercise_chart_info_seconds");
    case kPower:
      break;
  }
  return localizedString("block_exercise_chart_info_power");
}

std::optional<double> ExerciseCompletedSetEntity::chartLeftValueForExerciseType(std::int64_t type) {
  switch (kindOf(type)) {
    case kRepeats: {
      auto r = updatedRepeats();
      return r ? std::optional(static_cast<double>(*r)) : std::nullopt;
    }
    case kCardio:
    case kSeconds:
      return updatedValue();
    case kPower:
      break;
  }
  auto v = updatedValue();
  return v ? std::optional(UnitsHelper::weightToUnits(*v)) : std::nullopt;
}

std::optional<double> ExerciseCompletedSetEntity::chartRightValueForExerciseType(
    std::int64_t type) {
  if (kindOf(type) != kPower) return std::nullopt;
  auto r = updatedRepeats();
  return r ? std::optional(static_cast<double>(*r)) : std::nullopt;
}

}  // namespace dm
