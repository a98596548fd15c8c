// The rows of a per-period training statistic: named percentages kept as an archived list.
#pragma once

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace dm {

// One row of a statistic. Plain value, any thread.
struct StatisticRowModel {
  std::string name;
  double percent = 0;
  bool operator==(const StatisticRowModel&) const = default;
};

using ExerciseTypeModel = StatisticRowModel;
using MuscleGroupModel = StatisticRowModel;

namespace statistic_rows {

// The rows that have both "name" and "percent", in order: the name as text (a number as its
// decimal text; a null, list or dictionary name skips the row), the percent when it is a
// number, else 0. Anything that is not a list yields no rows; entries that are not
// dictionaries are skipped.
std::vector<StatisticRowModel> modelsFrom(const nlohmann::json& rows);

}  // namespace statistic_rows
}  // namespace dm
