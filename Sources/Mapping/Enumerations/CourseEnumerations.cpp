// Tables of the course and preset enumerations.
#include "Mapping/Enumerations/CourseEnumerations.h"

namespace dm {

const CodeTable& CourseStatusMappings() {
  static const CodeTable table{
      {1, "not_editable"}, {2, "draft"}, {3, "published"}, {4, "received"}, {5, "deleted"}};
  return table;
}

const TitleTable& CourseStatusTitleMappings() {
  static const TitleTable table =
      storedTitleTable({{1, "Not editable"}, {2, "Draft"}, {3, "Published"}, {5, "Deleted"}});
  return table;
}

std::string TitleForCourseStatus(int value) {
  return titleIn(CourseStatusTitleMappings(), value);
}

const CodeTable& FrequencyTypeMappings() {
  static const CodeTable table{
      {0, "unknown"},           {1, "two_times_a_week"},  {2, "three_times_a_week"},
      {3, "four_times_a_week"}, {4, "five_times_a_week"}, {5, "six_times_a_week"},
      {6, "every_other_day"}};
  return table;
}

const TitleTable& FrequencyTypeTitleMappings() {
  static const TitleTable table = FrequencyTypeMappings().codesByValue();
  return table;
}

std::string TitleForFrequencyType(int value) {
  return titleIn(FrequencyTypeTitleMappings(), value);
}

const TitleTable& TrainingCourseCategoryTitleMappings() {
  static const TitleTable table = localizedTitleTable({{0, "TrainingCourse.Trainings"},
                                                       {1, "TrainingCourse.SportFood"},
                                                       {2, "TrainingCourse.Pharmacy"},
                                                       {3, "TrainingCourse.Diet"},
                                                       {4, "TrainingCourse.Client progress"},
                                                       {5, "TrainingCourse.Chat with client"}},
                                                      kNoCommentProvided);
  return table;
}

std::string TitleForTrainingCourseCategory(int value) {
  return titleIn(TrainingCourseCategoryTitleMappings(), value);
}

const CodeTable& CoursePresetTypeMappings() {
  static const CodeTable table{{1, "free"}, {2, "author"}, {3, "target"}};
  return table;
}

const CodeTable& CoursePresetLevelMappings() {
  static const CodeTable table{{1, "no_experience"}, {2, "beginner"}, {3, "advanced"},
                               {4, "complex"},       {5, "profi"},    {6, "master"}};
  return table;
}

const CodeTable& CoursePresetTrainingForMappings() {
  static const CodeTable table{{0, "gym"}, {1, "home"}};
  return table;
}

const CodeTable& StatisticPeriodTypeMappings() {
  static const CodeTable table{{0, "last_day"}, {1, "week"}, {2, "month"}, {3, "all_time"}};
  return table;
}

}  // namespace dm
