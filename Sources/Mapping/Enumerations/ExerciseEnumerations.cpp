// Tables of the exercise enumerations.
#include "Mapping/Enumerations/ExerciseEnumerations.h"

namespace dm {

const CodeTable& ExerciseTypeMappings() {
  static const CodeTable table{
      {0, "power"}, {1, "cardio"}, {2, "functional_repeats"}, {3, "functional_seconds"}};
  return table;
}

const CodeTable& ExerciseHandbookTypeMappings() {
  static const CodeTable table{
      {0, "power"}, {1, "cardio"}, {2, "functional_repeats"}, {3, "functional_seconds"}};
  return table;
}

const CodeTable& ExerciseSetTypeMappings() {
  static const CodeTable table{{0, "straight"}, {1, "pyramid"}};
  return table;
}

const TitleTable& ExerciseSetTypeTitleMappings() {
  static const TitleTable table = localizedTitleTable(
      {{0, "ExerciseSetType.Straight"}, {1, "ExerciseSetType.Pyramid"}}, kNoCommentProvided);
  return table;
}

std::string TitleForExerciseSetType(int value) {
  return titleIn(ExerciseSetTypeTitleMappings(), value);
}

const CodeTable& ExerciseWeightTypeMappings() {
  static const CodeTable table{{0, "number"}, {1, "percent_from_maximum"}};
  return table;
}

}  // namespace dm
