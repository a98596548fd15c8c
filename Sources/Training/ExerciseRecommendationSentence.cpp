// The recommendation sentence of one set: the weight (or cardio minutes and pulse) inside the
// wording of the exercise's equipment, e.g. that the weight includes a 20 kg bar 220 cm long.
#include <cctype>
#include <cstdlib>
#include <string>

#include "Platform/Foundation/Localization.h"
#include "Platform/Foundation/StringFormat.h"
#include "Training/ExerciseEntity.h"
#include "Units/UnitsHelper.h"

namespace dm {

namespace {

// Bars and machines whose weight the sentences name; fixed, converted to the user's units
// each time they are shown.
constexpr double kLongBarWeight = 20, kLongBarLength = 220;
constexpr double kShortBarWeight = 8, kShortBarLength = 120;
constexpr double kSmallStraightBarWeight = 8.8;
constexpr double kSledWeight = 60;
constexpr std::int64_t kSledType = 6, kSledTypeAlternative = 22, kShortBarType = 7;

constexpr const char* kDefaultSentenceKey = "DefaultExerciseStraight.Recomended";

// The number a text starts with, read as a person would: leading blanks and direction marks
// skipped, '.' or ',' as the decimal separator, group separators ignored; 0 when none.
double leadingNumber(const std::string& text) {
  std::string digits;
  std::size_t i = 0;
  const std::string isolate = "\u2067";
  while (i < text.size() && (text[i] == ' ' || text.compare(i, isolate.size(), isolate) == 0))
    i += text[i] == ' ' ? 1 : isolate.size();
  if (i < text.size() && text[i] == '-') digits += text[i++];
  bool decimal = false;
  const std::string narrowSpace = "\u00a0", thinSpace = "\u202f";
  while (i < text.size()) {
    char c = text[i];
    if (std::isdigit(static_cast<unsigned char>(c))) {
      digits += c;
      ++i;
    } else if ((c == '.' || c == ',') && !decimal && i + 1 < text.size() &&
               std::isdigit(static_cast<unsigned char>(text[i + 1]))) {
      digits += '.';
      decimal = true;
      ++i;
    } else if (text.compare(i, narrowSpace.size(), narrowSpace) == 0 &&
               i + narrowSpace.size() < text.size() &&
               std::isdigit(static_cast<unsigned char>(text[i + narrowSpace.size()]))) {
      i += narrowSpace.size();
    } else if (text.compare(i, thinSpace.size(), thinSpace) == 0 &&
               i + thinSpace.size() < text.size() &&
               std::isdigit(static_cast<unsigned char>(text[i + thinSpace.size()]))) {
      i += thinSpace.size();
    } else {
      break;
    }
  }
  return digits.empty() ? 0 : std::strtod(digits.c_str(), nullptr);
}

// True when the bar alone weighs less than the recommended weight (strictly: a weight equal to
// the bar is an empty bar, which the default sentence describes better).
bool barIsLighter(double barKilograms, const std::string& weight) {
  return leadingNumber(UnitsHelper::weightInUnits(barKilograms)) < leadingNumber(weight);
}

}  // namespace

std::string ExerciseEntity::straightRecomendationTextForWeightString(const std::string& weight,
                                                                     const std::string& openTag,
                                                                     const std::string& closeTag) {
  const std::string weightUnit = UnitsHelper::weightUnitsStringShort().value_or("");
  const std::string heightUnit = UnitsHelper::heightUnitsStringShort().value_or("");
  auto localizedOrEmpty = [](const std::string& key) { return localizedString(key).value_or(""); };

  // The first stage keeps "%@" where the weight goes; templates address arguments by position.
  std::string sentence;
  auto type = currentEquipmentType();
  auto& rules = *EquipmentTypeRules::shared();
  if (!type) {
    sentence = localizedOrEmpty(kDefaultSentenceKey);
  } else if (rules.isBigBarRecomendation(*type)) {
    sentence = barIsLighter(kLongBarWeight, weight)
                   ? stringWithFormat(localizedOrEmpty("2ExerciseStraight.Recomended"), "%@",
                                      UnitsHelper::heightInUnits(kLongBarLength), heightUnit,
                                      UnitsHelper::weightInUnits(kLongBarWeight), weightUnit)
                   : localizedOrEmpty(kDefaultSentenceKey);
  } else if (*type == kSledType || *type == kSledTypeAlternative) {
    sentence = stringWithFormat(localizedOrEmpty("6ExerciseStraight.Recomended"), "%@",
                                UnitsHelper::weightInUnits(kSledWeight), weightUnit);
  } else if (*type == kShortBarType) {
    sentence = barIsLighter(kShortBarWeight, weight)
                   ? stringWithFormat(localizedOrEmpty("7ExerciseStraight.Recomended"), "%@",
                                      UnitsHelper::heightInUnits(kShortBarLength), heightUnit,
                                      UnitsHelper::weightInUnits(kShortBarWeight), weightUnit)
                   : localizedOrEmpty(kDefaultSentenceKey);
  } else if (rules.isSmallStraightBarRecomendation(*type)) {
    sentence =
        barIsLighter(kSmallStraightBarWeight, weight)
            ? stringWithFormat(localizedOrEmpty("8ExerciseStraight.Recomended"), "%@",
                               UnitsHelper::heightInUnits(kShortBarLength), heightUnit,
                               UnitsHelper::weightInUnits(kSmallStraightBarWeight), weightUnit)
            : localizedOrEmpty(kDefaultSentenceKey);
  } else {
    auto key = rules.getTypeRecomendationString(*type);
    auto text = key ? localizedString(*key) : std::nullopt;
    sentence = text ? *text : localizedOrEmpty(kDefaultSentenceKey);
  }

  const std::string value =
      openTag.empty() ? weight : stringWithFormat("%@%@%@", openTag, weight, closeTag);
  return stringWithFormat(sentence, value);
}

std::optional<std::string> ExerciseEntity::recommendationNoRepeatsAndNoSetsForSet(
    std::size_t index, const std::string& openTag, const std::string& closeTag) {
  if (isCardio()) {
    auto value = recommendationCardioIncludeSets(false);
    if (!value || value->empty()) return std::nullopt;
    if (!openTag.empty()) value = stringWithFormat("%@%@%@", openTag, *value, closeTag);
    return stringWithFormat("%@%@", localizedString("ExerciseCardio.Recomended").value_or(""),
                            *value);
  }
  if (isPyramid()) {
    auto step = recomendationPyramidForSet(index);
    if (step && !step->empty())
      return straightRecomendationTextForWeightString(*step, openTag, closeTag);
  }
  auto weight = recomendationStraightWithRepeats(nullptr, std::nullopt);
  if (!weight || weight->empty()) return std::nullopt;
  return straightRecomendationTextForWeightString(*weight, openTag, closeTag);
}

}  // namespace dm
