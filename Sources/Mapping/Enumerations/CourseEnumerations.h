// Enumerations of training courses and their presets: course status, training frequency,
// the sections of a course, preset kind, level and place, and statistic periods.
//
// Every `<Type>Mappings` and `<Type>TitleMappings` function returns a table that is built
// once, on first use, under its own run-once guard; it is immutable afterwards and lives
// for the rest of the process, so any thread may call these and keep the reference.
// `TitleFor<Type>` never fails: a value without a title yields "".
#pragma once

#include <string>

#include "Mapping/Enumerations/CodeTable.h"

namespace dm {

enum class CourseStatus : int {
  NotEditable = 1,
  Draft = 2,
  Published = 3,
  Received = 4,
  Deleted = 5
};

const CodeTable& CourseStatusMappings();
// Stored titles. Received has no title on purpose (its screens show none), so
// TitleForCourseStatus(4) is "".
const TitleTable& CourseStatusTitleMappings();
std::string TitleForCourseStatus(int value);

enum class FrequencyType : int {
  Unknown = 0,
  TwoTimesAWeek = 1,
  ThreeTimesAWeek = 2,
  FourTimesAWeek = 3,
  FiveTimesAWeek = 4,
  SixTimesAWeek = 5,
  EveryOtherDay = 6
};

const CodeTable& FrequencyTypeMappings();
// The title of each value is its server code, unlocalised.
const TitleTable& FrequencyTypeTitleMappings();
std::string TitleForFrequencyType(int value);

// The sections of a course as its screens list them; no server code.
enum class TrainingCourseCategory : int {
  Trainings = 0,
  SportFood = 1,
  Pharmacy = 2,
  Diet = 3,
  ClientProgress = 4,
  ChatWithClient = 5
};

// Display texts, localised once (with the comment kNoCommentProvided) in the interface
// language current at first use.
const TitleTable& TrainingCourseCategoryTitleMappings();
std::string TitleForTrainingCourseCategory(int value);

enum class CoursePresetType : int { Free = 1, Author = 2, Target = 3 };

const CodeTable& CoursePresetTypeMappings();

enum class CoursePresetLevel : int {
  NoExperience = 1,
  Beginner = 2,
  Advanced = 3,
  Complex = 4,
  Profi = 5,
  Master = 6
};

const CodeTable& CoursePresetLevelMappings();

enum class CoursePresetTrainingFor : int { Gym = 0, Home = 1 };

const CodeTable& CoursePresetTrainingForMappings();

enum class StatisticPeriodType : int { LastDay = 0, Week = 1, Month = 2, AllTime = 3 };

const CodeTable& StatisticPeriodTypeMappings();

}  // namespace dm
