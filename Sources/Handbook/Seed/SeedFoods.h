// Foods as the food composition table describes them, read from its CSV file.
#pragma once

#include <cstddef>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace dm {

struct SeedFood {
  std::string code;  // the table's food code, unique ("A001")
  std::string name;
  std::string group;           // food group, never empty
  std::string scientificName;  // may be empty
  std::string localNames;      // may be empty
  // Measured values by column code ("enerc", "protcnt", ...) exactly as the table gives
  // them: energy in kJ, everything else in grams per 100 g. A cell left empty in the table
  // has no entry here.
  std::map<std::string, double> values;
  std::size_t line = 0;  // line of the row in its file

  std::optional<double> value(const std::string& column) const;
};

// The value columns read by readSeedFoods; other columns are ignored.
const std::vector<std::string>& seedFoodValueColumns();

// Reads the food table, sorted by food code. Column headers are "Long name; code" (a plain
// "code" header is accepted too). Needs the columns "code", "name" and "grup"; "scie",
// "lang" and each value column are optional. Every row needs a non-empty, unique code,
// name and group, texts in UTF-8; a value cell is empty or a decimal number.
// Throws SeedSourceError: the file is missing or unreadable (line 0), the CSV is malformed
// (see CsvTable::parse), a required column is missing (line 1), or a row breaks the rules
// above (its line). Any thread; returns owned values.
std::vector<SeedFood> readSeedFoods(const std::filesystem::path& file);

}  // namespace dm
