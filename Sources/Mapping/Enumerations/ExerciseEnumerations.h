// Enumerations of exercises: the kind of an exercise (as a training record and as a
// handbook post), how its sets are built and how its weight is given.
//
// Every `<Type>Mappings` and `<Type>TitleMappings` function returns a table that is built
// once, on first use, under its own run-once guard; it is immutable afterwards and lives
// for the rest of the process, so any thread may call these and keep the reference.
// `TitleFor<Type>` never fails: a value without a title yields "".
#pragma once

#include <string>

#include "Mapping/Enumerations/CodeTable.h"

namespace dm {

enum class ExerciseType : int {
  Power = 0,
  Cardio = 1,
  FunctionalRepeats = 2,
  FunctionalSeconds = 3
};

// "power", "cardio", "functional_repeats", "functional_seconds".
const CodeTable& ExerciseTypeMappings();

// Same rows as ExerciseType, but a table of its own: the handbook's exercise kinds are
// free to diverge from the training records'.
enum class ExerciseHandbookType : int {
  Power = 0,
  Cardio = 1,
  FunctionalRepeats = 2,
  FunctionalSeconds = 3
};

const CodeTable& ExerciseHandbookTypeMappings();

enum class ExerciseSetType : int { Straight = 0, Pyramid = 1 };

// "straight", "pyramid".
const CodeTable& ExerciseSetTypeMappings();
// Display texts, localised once (with the comment kNoCommentProvided) in the interface
// language current at first use.
const TitleTable& ExerciseSetTypeTitleMappings();
std::string TitleForExerciseSetType(int value);

enum class ExerciseWeightType : int { Number = 0, PercentFromMaximum = 1 };

// "number", "percent_from_maximum".
const CodeTable& ExerciseWeightTypeMappings();

}  // namespace dm
