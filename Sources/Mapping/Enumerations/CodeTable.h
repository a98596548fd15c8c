// The two table shapes every enumeration uses: the code table (integer value <-> server
// code) and the title table (integer value -> display text or display key).
#pragma once

#include <cstddef>
#include <initializer_list>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace dm {

// An immutable two-way table between an enumeration's integer values and the codes the
// server spells them with. Built once by its enumeration's `<Type>Mappings` function and
// then only read, so any thread may use a built table without locking.
class CodeTable {
 public:
  // Rows as (value, code). A repeated code resolves to the first row that carries it;
  // a repeated value keeps its first code.
  CodeTable(std::initializer_list<std::pair<int, std::string_view>> rows);

  // The server code of `value`; nothing when the table has no row for it.
  std::optional<std::string> codeForValue(int value) const;

  // The value whose code equals `code` exactly (byte for byte, no case folding or
  // normalisation); nothing for an unknown or empty code. This is the one fixed answer
  // for every code outside the table.
  std::optional<int> valueForCode(std::string_view code) const;

  // Typed variants for the enumerations declared beside each table.
  template <typename Enum>
  std::optional<Enum> enumForCode(std::string_view code) const {
    static_assert(std::is_enum_v<Enum>);
    if (auto value = valueForCode(code)) return static_cast<Enum>(*value);
    return std::nullopt;
  }
  template <typename Enum>
  std::optional<std::string> codeForEnum(Enum value) const {
    static_assert(std::is_enum_v<Enum>);
    return codeForValue(static_cast<int>(value));
  }

  // Value -> code, ordered by value. The reference lives as long as the table.
  const std::map<int, std::string>& codesByValue() const { return codesByValue_; }
  std::size_t size() const { return codesByValue_.size(); }

 private:
  std::map<int, std::string> codesByValue_;
  std::map<std::string, int, std::less<>> valuesByCode_;
};

// Value -> display text (or display key, for the tables that keep keys).
using TitleTable = std::map<int, std::string>;

// The entry of `table` for `value`, or "" when the table has none.
std::string titleIn(const TitleTable& table, int value);

// Comment handed to the localisation lookup by the title tables localised with a comment.
inline constexpr std::string_view kNoCommentProvided = "No comment provided";

// Builds a title table by passing each display key through the localisation lookup of the
// current interface language, with `comment`. A key the lookup does not know stays as the
// key, so a missing translation shows up as its key rather than as an empty title.
// Called only from the run-once builders of the localised tables; any thread.
TitleTable localizedTitleTable(std::initializer_list<std::pair<int, std::string_view>> keys,
                               std::string_view comment = {});

// Builds a title table holding the given texts as they stand.
TitleTable storedTitleTable(std::initializer_list<std::pair<int, std::string_view>> titles);

}  // namespace dm
