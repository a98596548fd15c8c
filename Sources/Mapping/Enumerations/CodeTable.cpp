// Code and title tables shared by the enumerations.
#include "Mapping/Enumerations/CodeTable.h"

#include "Platform/Foundation/Localization.h"

namespace dm {

CodeTable::CodeTable(std::initializer_list<std::pair<int, std::string_view>> rows) {
  for (const auto& [value, code] : rows) {
    codesByValue_.emplace(value, std::string(code));
    valuesByCode_.emplace(std::string(code), value);
  }
}

std::optional<std::string> CodeTable::codeForValue(int value) const {
  auto found = codesByValue_.find(value);
  if (found == codesByValue_.end()) return std::nullopt;
  return found->second;
}

std::optional<int> CodeTable::valueForCode(std::string_view code) const {
  auto found = valuesByCode_.find(code);
  if (found == valuesByCode_.end()) return std::nullopt;
  return found->second;
}

std::string titleIn(const TitleTable& table, int value) {
  auto found = table.find(value);
  return found == table.end() ? std::string() : found->second;
}

TitleTable localizedTitleTable(std::initializer_list<std::pair<int, std::string_view>> keys,
                               std::string_view comment) {
  TitleTable table;
  for (const auto& [value, key] : keys) {
    table.emplace(value, localizedString(key, comment).value_or(std::string(key)));
  }
  return table;
}

TitleTable storedTitleTable(std::initializer_list<std::pair<int, std::string_view>> titles) {
  TitleTable table;
  for (const auto& [value, title] : titles) table.emplace(value, std::string(title));
  return table;
}

}  // namespace dm
