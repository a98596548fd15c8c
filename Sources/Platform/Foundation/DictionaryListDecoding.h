// All-or-nothing decoding of stored lists of small dictionaries (ingredients, alternatives):
// any element that is not a dictionary, or any required member that is missing or of the
// wrong kind, refuses the whole list with a message that says which.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "Platform/Foundation/Error.h"

namespace dm {

// A whole number under `key` (a float with no fractional part counts); throws
// std::runtime_error when it is missing, not a number or out of the 64-bit range. Any thread.
std::int64_t requiredIntegerMember(const nlohmann::json& element, const char* key);

// Any number under `key`, as float; throws std::runtime_error when missing or not a number.
float requiredFloatMember(const nlohmann::json& element, const char* key);

// Decodes every element of `list` with `decode(element)`; throws std::runtime_error when the
// list is not an array or an element is not a dictionary, and lets decode's errors through.
template <typename T, typename Decode>
std::vector<T> decodeDictionaryList(const nlohmann::json& list, Decode decode) {
  if (!list.is_array()) throw Error(ErrorCode::InvalidInput, "the data is not a list");
  std::vector<T> result;
  result.reserve(list.size());
  for (std::size_t i = 0; i < list.size(); ++i) {
    if (!list[i].is_object())
      throw Error(ErrorCode::InvalidInput, "element " + std::to_string(i) + " is not a dictionary");
    result.push_back(decode(list[i]));
  }
  return result;
}

}  // namespace dm
