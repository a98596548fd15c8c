// How handbook records read the server's dictionary values: a wrongly typed or missing value
// always reads as empty (a null Value), never as an error.
#pragma once

#include <optional>
#include <string_view>

#include <nlohmann/json.hpp>

#include "Platform/ObjectStore/Value.h"

namespace dm::handbook_dict {

// Pure functions; any thread.

// A number taken as an unsigned integer (fractions truncated, booleans 0/1); else null.
Value unsignedNumber(const nlohmann::json& dict, std::string_view key);
// A number as a double (booleans 0/1); else null.
Value doubleNumber(const nlohmann::json& dict, std::string_view key);
// A text; else null.
Value text(const nlohmann::json& dict, std::string_view key);
// A server date-time text parsed as a date; else null.
Value date(const nlohmann::json& dict, std::string_view key);
// An integer written as its decimal text; else null.
Value integerAsText(const nlohmann::json& dict, std::string_view key);
// A list (or, with wantObject, a dictionary) stored as a keyed archive; else null.
Value keyedArchive(const nlohmann::json& dict, std::string_view key, bool wantObject);
// A list stored as its JSON text; else null.
Value jsonList(const nlohmann::json& dict, std::string_view key);
// The element's "id" when the element is a dictionary and its "id" a non-negative integer.
std::optional<std::int64_t> identifier(const nlohmann::json& element);

}  // namespace dm::handbook_dict
