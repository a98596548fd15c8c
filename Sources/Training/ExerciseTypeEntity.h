// How a period's training split over exercise types: one record per period code, its rows archived.
#pragma once

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "Training/ExerciseTypeEntityGenerated.h"
#include "Training/StatisticRows.h"

namespace dm {

// Threads and ownership as ManagedObject: use on the context's queue.
class ExerciseTypeEntity : public ExerciseTypeEntityGenerated {
 public:
  // The first record of the period code ("last_day", "week", "month", "all_time").
  static ExerciseTypeEntity* entity(ManagedObjectContext& context, const std::string& periodCode);
  // The archived rows; anything that is not a list reads as the empty list.
  nlohmann::json dictsArray() const;
  // Rows with a name and a percent, in order (see statistic_rows::modelsFrom).
  std::vector<ExerciseTypeModel> models() const { return statistic_rows::modelsFrom(dictsArray()); }
};

}  // namespace dm
