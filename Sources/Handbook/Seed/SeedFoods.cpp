// Reading and checking the food composition table.
#include "Handbook/Seed/SeedFoods.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <set>

#include "Handbook/Seed/CsvTable.h"
#include "Handbook/Seed/SeedFile.h"
#include "Handbook/Seed/SeedSourceError.h"
#include "Platform/Foundation/Error.h"

namespace dm {
namespace {

std::string_view trimmed(std::string_view text) {
  const char* blanks = " \t\r\n";
  auto first = text.find_first_not_of(blanks);
  if (first == std::string_view::npos) return {};
  auto last = text.find_last_not_of(blanks);
  return text.substr(first, last - first + 1);
}

// "Food Code; code" -> "code".
std::string columnCode(const std::string& header) {
  auto separator = header.rfind("; ");
  if (separator == std::string::npos) return std::string(trimmed(header));
  return std::string(trimmed(std::string_view(header).substr(separator + 2)));
}

std::optional<double> parseNumber(std::string_view cell) {
  cell = trimmed(cell);
  if (cell.empty()) return std::nullopt;
  if (cell.front() == '+') cell.remove_prefix(1);
  double value = 0;
  auto [end, error] = std::from_chars(cell.data(), cell.data() + cell.size(), value);
  if (error != std::errc() || end != cell.data() + cell.size() || !std::isfinite(value)) {
    throw Error(ErrorCode::InvalidInput, "not a number");
  }
  return value;
}

}  // namespace

std::optional<double> SeedFood::value(const std::string& column) const {
  auto found = values.find(column);
  if (found == values.end()) return std::nullopt;
  return found->second;
}

const std::vector<std::string>& seedFoodValueColumns() {
  static const std::vector<std::string> columns = {
      "enerc", "protcnt", "fatce", "choavldf", "fibtg",  "cholc",  "fasat", "fams", "fapu",
      "fatrn", "cartb",   "vita",  "vitb6c",   "ergcal", "chocal", "vite",  "vitc", "ribf",
      "fe",    "k",       "ca",    "mg",       "cu",     "na",     "p",     "zn"};
  return columns;
}

std::vector<SeedFood> readSeedFoods(const std::filesystem::path& file) {
  CsvTable table = CsvTable::read(file);
  std::map<std::string, std::size_t> columns;
  for (std::size_t i = 0; i < table.header().size(); ++i) {
    columns.emplace(columnCode(table.header()[i]), i);  // the first of a repeated code wins
  }
  auto require = [&](const char* code) {
    auto found = columns.find(code);
    if (found == columns.end()) {
      throw SeedSourceError(file, 1, std::string("missing column \"") + code + "\"");
    }
    return found->second;
  };
  auto optional = [&](const std::string& code) -> std::optional<std::size_t> {
    auto found = columns.find(code);
    if (found == columns.end()) return std::nullopt;
    return found->second;
  };
  std::size_t codeColumn = require("code");
  std::size_t nameColumn = require("name");
  std::size_t groupColumn = require("grup");
  auto scientificColumn = optional("scie");
  auto localColumn = optional("lang");

  std::vector<SeedFood> foods;
  foods.reserve(table.rows().size());
  std::set<std::string> codes;
  for (const CsvRow& row : table.rows()) {
    auto fail = [&](const std::string& problem) { throw SeedSourceError(file, row.line, problem); };
    SeedFood food;
    food.line = row.line;
    food.code = trimmed(row.fields[codeColumn]);
    food.name = trimmed(row.fields[nameColumn]);
    food.group = trimmed(row.fields[groupColumn]);
    if (food.code.empty()) fail("empty food code");
    if (food.name.empty()) fail("empty food name");
    if (food.group.empty()) fail("empty food group");
    if (!codes.insert(food.code).second) fail("food code \"" + food.code + "\" appears twice");
    if (scientificColumn) food.scientificName = trimmed(row.fields[*scientificColumn]);
    if (localColumn) food.localNames = trimmed(row.fields[*localColumn]);
    for (const std::string* text :
         {&food.code, &food.name, &food.group, &food.scientificName, &food.localNames}) {
      if (!isValidUtf8(*text)) fail("text is not valid UTF-8");
    }
    for (const std::string& code : seedFoodValueColumns()) {
      auto column = optional(code);
      if (!column) continue;
      try {
        if (auto value = parseNumber(row.fields[*column])) food.values.emplace(code, *value);
      } catch (const Error&) {
        fail("column \"" + code + "\": \"" + row.fields[*column] + "\" is not a number");
      }
    }
    foods.push_back(std::move(food));
  }
  std::sort(foods.begin(), foods.end(),
            [](const SeedFood& a, const SeedFood& b) { return a.code < b.code; });
  return foods;
}

}  // namespace dm
