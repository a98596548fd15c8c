// The one-line recommendation of an exercise: sets x repeats x weight, pyramid steps, cardio
// minutes and pulse, in the user's units and language, isolated for right-to-left layouts.
#include <charconv>
#include <cmath>

#include "Platform/Foundation/LocaleServices.h"
#include "Platform/Foundation/Localization.h"
#include "Platform/Foundation/StringFormat.h"
#include "Training/ExerciseEntity.h"
#include "Units/UnitsHelper.h"

namespace dm {

namespace {

constexpr const char* kRightToLeftIsolate = "\u2067";
constexpr const char* kPopDirectionalIsolate = "\u2069";

std::optional<double> numericValue(const nlohmann::json& value) {
  if (value.is_number()) return value.get<double>();
  if (value.is_string()) {
    const std::string& text = value.get_ref<const std::string&>();
    double parsed = 0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), parsed);
    if (error == std::errc() && end != text.data()) return parsed;
    return 0;
  }
  return std::nullopt;
}

bool isAbove0(const nlohmann::json& value) {
  auto number = numericValue(value);
  return number && *number > 0;
}

// The integer value of an editing text; 0 when it holds none.
std::int64_t integerValue(const std::string& text) {
  std::int64_t parsed = 0;
  std::from_chars(text.data(), text.data() + text.size(), parsed);
  return parsed;
}

std::string localized(const char* key) {
  return localizedString(key).value_or("");
}

}  // namespace

bool ExerciseEntity::isRTL() {
  return isRightToLeftInterface();
}

std::optional<std::string> ExerciseEntity::rtlIsolateIfNeeded(
    const std::optional<std::string>& text) {
  if (!text || !isRTL()) return text;
  const std::string open = kRightToLeftIsolate, close = kPopDirectionalIsolate;
  if (text->starts_with(open) && text->ends_with(close)) return text;
  return open + *text + close;
}

std::optional<std::string> ExerciseEntity::concatenate(const std::vector<std::string>& texts) {
  if (texts.empty()) return std::nullopt;
  std::string joined = texts.front();
  for (std::size_t i = 1; i < texts.size(); ++i) {
    if (isRTL())
      joined = joined + " " + kRightToLeftIsolate + "x" + kPopDirectionalIsolate + " " + texts[i];
    else
      joined = stringWithFormat("%@x%@", joined, texts[i]);
  }
  return joined;
}

std::optional<std::string> ExerciseEntity::recommendedSetsString() const {
  if (recommendedSetsStringOverride) return recommendedSetsStringOverride;
  if (!hasRecommendedSets()) return std::nullopt;
  return std::to_string(recommendedSets());
}

std::optional<std::string> ExerciseEntity::recommendation() {
  if (isCardio()) return recommendationCardioIncludeSets(true);
  if (isPyramid()) return recomendationPyramid();
  return recomendationStraightWithRepeats(recommendedRepeatsValueCurrent(),
                                          recommendedSetsString());
}

std::optional<std::string> ExerciseEntity::recomendationByWeight(const nlohmann::json& weight,
                                                                 const nlohmann::json& repeats) {
  std::optional<std::string> repeatsText;
  if (isAbove0(repeats))
    repeatsText = repeats.is_string() ? repeats.get<std::string>()
                                      : localizedNumberString(repeats.get<double>());
  if (!isPower() || !isAbove0(weight)) return repeatsText;

  std::string weightText;
  if (weight.is_string()) {
    weightText = weight.get<std::string>();
  } else {
    double w = static_cast<float>(weight.get<double>());  // single precision, as shown before
    auto unit = UnitsHelper::weightUnitsStringShort().value_or("");
    if (weightTypeValue() == 1)
      weightText = stringWithFormat(localized("ExerciseStraight.PercentOfMaxWeightFormat"),
                                    localizedPercentString(w / 100));
    else if (weightTypeValue() == 0)
      weightText = stringWithFormat(
          "%@ %@", localizedNumberString(UnitsHelper::weightToUnitsTarget(w, isTarget())), unit);
    else
      weightText = stringWithFormat("%@ %@", localizedNumberString(w), unit);
  }
  if (repeatsText) return concatenate({*repeatsText, weightText});
  return weightText;
}

std::optional<std::string> ExerciseEntity::recommendationCardioIncludeSets(bool includeSets) {
  auto minutes = integerValue(recommendedDurationString);
  if (minutes == 0) return std::nullopt;
  std::string text = stringWithFormat(localized("Exercise.MinutesUnitTemplate"),
                                      localizedNumberString(static_cast<double>(minutes)));
  auto low = integerValue(recommendedMinimumPulse), high = integerValue(recommendedMaximumPulse);
  if (low != 0 && high != 0) {
    auto range = stringWithFormat("%@ - %@", localizedNumberString(static_cast<double>(low)),
                                  localizedNumberString(static_cast<double>(high)));
    text += stringWithFormat(
        ", %@", stringWithFormat(localized("ExerciseHistory.PulseUnitReduction"), range));
  }
  double sets = setsCount();
  if (includeSets && static_cast<std::int64_t>(sets) >= 1 && !text.empty())
    text = *concatenate({localizedNumberString(sets), text});
  return rtlIsolateIfNeeded(text);
}

std::optional<std::string> ExerciseEntity::recomendationStraightWithRepeats(
    const nlohmann::json& repeats, const std::optional<std::string>& setsText) {
  nlohmann::json weight =
      weightTypeValue() == 1
          ? (hasRecommendedMaxWeightPercent() ? nlohmann::json(recommendedMaxWeightPercent())
                                              : nlohmann::json())
          : nlohmann::json(recommendedWeightValueCurrent());
  auto line = recomendationByWeight(weight, repeats);
  if (!line) return std::nullopt;
  if (setsText && integerValue(*setsText) != 0) line = concatenate({*setsText, *line});
  return rtlIsolateIfNeeded(line);
}

std::optional<std::string> ExerciseEntity::recomendationPyramid() {
  auto steps = recommendedPyramidArray();
  if (!steps.is_array() || steps.empty()) return std::nullopt;
  std::string joined;
  for (std::size_t i = 0; i < steps.size(); ++i) {
    const auto& step = steps[i];
    std::optional<std::string> text;
    if (step.is_object())
      text = recomendationByWeight(step.value("weight", nlohmann::json()),
                                   step.value("repeats", nlohmann::json()));
    if (i > 0) joined += " - ";
    joined += text.value_or("?");
  }
  if (joined.empty()) return std::nullopt;
  return rtlIsolateIfNeeded(joined);
}

std::optional<std::string> ExerciseEntity::recomendationPyramidForSet(std::size_t index) {
  auto steps = recommendedPyramidArray();
  if (!steps.is_array() || steps.empty()) return std::nullopt;
  const auto& step = steps[index % steps.size()];
  if (!step.is_object()) return std::nullopt;
  return rtlIsolateIfNeeded(recomendationByWeight(step.value("weight", nlohmann::json()), nullptr));
}

}  // namespace dm
