// Reading statistic rows leniently: malformed rows are skipped, never fatal.
#include "Training/StatisticRows.h"

namespace dm::statistic_rows {

std::vector<StatisticRowModel> modelsFrom(const nlohmann::json& rows) {
  std::vector<StatisticRowModel> models;
  if (!rows.is_array()) return models;
  for (const auto& row : rows) {
    if (!row.is_object()) continue;
    auto name = row.find("name");
    auto percent = row.find("percent");
    if (name == row.end() || percent == row.end()) continue;
    StatisticRowModel model;
    if (name->is_string())
      model.name = name->get<std::string>();
    else if (name->is_number())
      model.name = name->dump();
    else
      continue;  // null, a list or a dictionary names nothing

    // Booleans are numbers in an archive, but a flag is no percentage.
    if (percent->is_number()) model.percent = percent->get<double>();
    models.push_back(std::move(model));
  }
  return models;
}

}  // namespace dm::statistic_rows
