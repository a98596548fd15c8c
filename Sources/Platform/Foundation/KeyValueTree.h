// Helpers over key-value trees (nlohmann::json): identity mappings, removal of null markers,
// leaf transforms, code tables and the search for the first text. In these trees JSON null
// is the null marker; a value that is absent is a missing key.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

namespace dm {

// The value that valueForCode gives for a code the table does not hold (and the empty text is
// what codeForValue gives for an unknown value). Zero, so an unknown code reads as the
// enumeration's first/neutral value rather than as a number no switch expects.
inline constexpr std::int64_t kUnknownCodeValue = 0;

// All functions here are pure: they may be called from any thread and return new trees that
// the caller owns.
struct KeyValueTree {
  // Deepest nesting the walks below accept; deeper trees throw NestingTooDeepError (each
  // walk recurses once per level).
  static constexpr std::size_t kMaximumDepth = 512;
  // {name: name} for every name; later duplicates are harmless. Always an object.
  static nlohmann::json identityMapping(const std::vector<std::string>& names);

  // A copy without null markers at any level: null entries of objects and null elements of
  // arrays are dropped; empty containers that remain are kept. A null root stays null.
  static nlohmann::json removingNulls(const nlohmann::json& tree);

  // A copy in which every leaf (any value that is neither an object nor an array, null
  // included) is replaced by transform(leaf). Structure and keys are kept.
  static nlohmann::json transformingValues(
      const nlohmann::json& tree,
      const std::function<nlohmann::json(const nlohmann::json&)>& transform);

  // Lookups over a code table that pairs text codes with integer values. The table is a JSON
  // object keyed either by code ({"male": 1}) or by the value's decimal text ({"1": "male"});
  // both shapes are searched so callers need not care which one a table was built in.
  // valueForCode gives kUnknownCodeValue, codeForValue gives "", when nothing matches (also
  // for a table that is not an object).
  static std::int64_t valueForCode(const nlohmann::json& table, std::string_view code);
  static std::string codeForValue(const nlohmann::json& table, std::int64_t value);

  // The first text met by a depth-first, in-order walk (arrays by index, objects by key in
  // the tree's key order); std::nullopt when the tree holds no text. A text root is itself.
  static std::optional<std::string> firstText(const nlohmann::json& tree);
};

}  // namespace dm
