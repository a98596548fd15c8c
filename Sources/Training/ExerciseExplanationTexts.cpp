// The explanations beside an exercise: how to count repeats, how to choose the weight, and the
// per-side repeats of exercises done alternately on both sides.
#include <cstdint>
#include <string>

#include "Platform/Foundation/Localization.h"
#include "Platform/Foundation/PluralForms.h"
#include "Platform/Foundation/StringFormat.h"
#include "Training/ExerciseEntity.h"
#include "Units/UnitsHelper.h"

namespace dm {

namespace {

// The weights the sled explanation names; converted to the user's units when shown.
constexpr double kSledWeight = 60, kSledCarriageWeight = 42;

// Paragraphs of the weight explanation are stacked with the newest addition on top.
std::string placeInFront(const std::string& addition, const std::string& text) {
  return stringWithFormat("%@\n\n%@", addition, text);
}

}  // namespace

std::optional<std::string> ExerciseEntity::repeatsExplanationText() {
  const char* key;
  if (isCardio()) {
    key = static_cast<std::int64_t>(setsCount()) < 1 ? "TrainingCourse.RepeatsNeedCount"
                                                     : "TrainingCourse.MinutesNeedCount";
  } else if (isFunctionalSeconds()) {
    key = isOneArmType()    ? "TrainingCourse.SecondsNeedCountArm"
          : isOneLegType()  ? "TrainingCourse.SecondsNeedCountLeg"
          : isOneSideType() ? "TrainingCourse.SecondsNeedCountSide"
                            : "TrainingCourse.SecondsNeedCount";
  } else {
    key = isOneArmType()    ? "TrainingCourse.RepeatsNeedCountArm"
          : isOneLegType()  ? "TrainingCourse.RepeatsNeedCountLeg"
          : isOneSideType() ? "TrainingCourse.RepeatsNeedCountSide"
                            : "TrainingCourse.RepeatsNeedCount";
  }
  return localizedString(key);
}

std::optional<std::string> ExerciseEntity::weigthExplanationText() {
  // Which side wording applies: one-sided first, then the alternating kinds.
  enum Side { kNone, kOneArm, kOneLeg, kOneSide, kSwapLeg, kSwapArm, kSwapSide };
  Side side = isOneArmType()                                              ? kOneArm
              : isOneLegType()                                            ? kOneLeg
              : isOneSideType()                                           ? kOneSide
              : currentEquipmentHolds(EquipmentTypeRule::InterchangeLeg)  ? kSwapLeg
              : currentEquipmentHolds(EquipmentTypeRule::InterchangeArm)  ? kSwapArm
              : currentEquipmentHolds(EquipmentTypeRule::InterchangeSide) ? kSwapSide
                                                                          : kNone;
  static constexpr const char* kRepeatsKeys[] = {nullptr,
                                                 "OneArmRepeatsExtraExplanation",
                                                 "OneLegRepeatsExtraExplanation",
                                                 "OneSideRepeatsExtraExplanation",
                                                 "ExtraInterchangeLegRepsExplanation",
                                                 "ExtraInterchangeArmRepsExplanation",
                                                 "ExtraInterchangeSideRepsExplanation"};
  static constexpr const char* kSecondsKeys[] = {nullptr,
                                                 "OneArmTimeExtraExplanation",
                                                 "OneLegTimeExtraExplanation",
                                                 "OneSideTimeExtraExplanation",
                                                 "ExtraInterchangeSecondsExplanation",
                                                 "ExtraInterchangeSecondsExplanation",
                                                 "ExtraInterchangeSecondsExplanation"};

  if (isFunctionalRepeats())
    return side == kNone ? std::nullopt : localizedString(kRepeatsKeys[side]);
  if (isFunctionalSeconds())
    return side == kNone ? std::nullopt : localizedString(kSecondsKeys[side]);
  if (!isPower()) return std::nullopt;

  const std::string unit = UnitsHelper::weightUnitsStringShort().value_or("");
  if (weightTypeValue() == 1)
    return stringWithFormat(localizedString("PercentWeightExplanation").value_or(""), unit, unit,
                            unit);

  std::string text = localizedString("DefaultWeightExplanation").value_or("");
  std::string extra;
  if (currentEquipmentHolds(EquipmentTypeRule::ExtraWeightExplanation6))
    extra = stringWithFormat(localizedString("WeightExplanation6").value_or(""),
                             UnitsHelper::weightInUnits(kSledWeight), unit,
                             UnitsHelper::weightInUnits(kSledCarriageWeight), unit);
  if (currentEquipmentHolds(EquipmentTypeRule::ExtraWeightExplanation14))
    extra = localizedString("WeightExplanation14").value_or("");
  if (!extra.empty()) text = placeInFront(extra, text);
  if (isOneArmExtraExplanation())
    text = placeInFront(localizedString("OneArmExtraExplanation").value_or(""), text);
  if (isRecommendedWeightWithBar())
    text = placeInFront(localizedString("BarExtraExplanation").value_or(""), text);
  if (side != kNone) text = placeInFront(localizedString(kRepeatsKeys[side]).value_or(""), text);
  return text;
}

std::optional<std::string> ExerciseEntity::fixedCommentForSet(std::size_t index) {
  const char* key = nullptr;
  if (isFunctionalRepeats() || isPower()) {
    key = currentEquipmentHolds(EquipmentTypeRule::InterchangeLeg)    ? "ExtraInterchangeLegReps"
          : currentEquipmentHolds(EquipmentTypeRule::InterchangeArm)  ? "ExtraInterchangeArmReps"
          : currentEquipmentHolds(EquipmentTypeRule::InterchangeSide) ? "ExtraInterchangeSideReps"
                                                                      : nullptr;
  } else if (isFunctionalSeconds()) {
    key = currentEquipmentHolds(EquipmentTypeRule::InterchangeLeg)    ? "ExtraInterchangeLegSecs"
          : currentEquipmentHolds(EquipmentTypeRule::InterchangeArm)  ? "ExtraInterchangeArmSecs"
          : currentEquipmentHolds(EquipmentTypeRule::InterchangeSide) ? "ExtraInterchangeSideSecs"
                                                                      : nullptr;
  }

  std::string fixed;
  if (key) {
    // Half of the set's repeats go to each side (7 gives 3).
    auto repeats = static_cast<std::int64_t>(repeatsIncludingPiramidForSet(index).value_or(0));
    if (repeats >= 2) {
      std::int64_t perSide = repeats / 2;
      if (auto text = localizedPluralString(key, static_cast<double>(perSide)))
        fixed = stringWithFormat(*text, perSide);
    }
  }
  const std::string trainerComment = comment();
  if (!fixed.empty() && !trainerComment.empty())
    return stringWithFormat("%@\n%@", fixed, trainerComment);
  if (fixed.empty()) return trainerComment.empty() ? std::nullopt : std::optional(trainerComment);
  return fixed;
}

}  // namespace dm
