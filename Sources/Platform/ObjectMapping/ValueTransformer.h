// Conversion between the scalars that JSON carries and the typed values of record fields,
// and the server's date-time text format.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "Platform/ObjectStore/Value.h"

namespace dm {

// The type of a destination field. The first nine and Dictionary/List mirror AttributeType of
// stored entities; Number (an integer or a real, kept as the payload gives it) and Tree (any
// JSON value, kept as a tree) exist for properties of plain objects. Tree, Dictionary and List
// take the payload's tree as is (the latter two only an object or an array).
enum class FieldKind {
  Integer16,
  Integer32,
  Integer64,
  Double,
  Float,
  Boolean,
  String,
  Date,
  Binary,
  Number,
  Tree,
  Dictionary,
  List,
};

inline bool isTreeKind(FieldKind kind) {
  return kind == FieldKind::Tree || kind == FieldKind::Dictionary || kind == FieldKind::List;
}

FieldKind fieldKindFor(AttributeType type);
const char* fieldKindName(FieldKind kind);

// One JSON value as the transformer sees it. Texts are views into the parsed payload.
struct JsonScalar {
  enum class Type { Null, Boolean, Integer, Unsigned, Real, String, Array, Object };
  Type type = Type::Null;
  bool boolean = false;
  std::int64_t integer = 0;
  std::uint64_t unsignedInteger = 0;  // only for values above INT64_MAX
  double real = 0;
  std::string_view text;
};

// Transforms a JSON scalar into a value for a field of `kind` (not Tree). On success returns
// the value (null for JSON null, which clears the field); on failure returns nullopt and sets
// `reason` to a short explanation. Rules:
// - integers: integers in the field's range, integral reals, booleans as 0/1, texts holding
//   one of those ("12", "-3", "12.0");
// - reals: numbers, booleans as 0/1, texts holding a finite number;
// - booleans: true/false, the numbers 0/1, the texts "true"/"false"/"1"/"0";
// - texts: texts, numbers written out ("12", "12.5"), booleans as "true"/"false";
// - dates: server date-time texts (see parseServerDate) and seconds since 1970 as numbers;
// - bytes: the text's bytes;
// - an empty text for a number, boolean or date field reads as null.
// Arrays and objects never transform to a scalar. Thread-safe (pure function).
std::optional<Value> transformValue(const JsonScalar& scalar, FieldKind kind, std::string& reason);

// Parses "yyyy-MM-dd'T'HH:mm:ss[.fraction](Z|+hh:mm|+hhmm|+hh)" and plain "yyyy-MM-dd"
// (midnight UTC); a missing offset means UTC. Returns nullopt for anything else, including
// out-of-range fields. Thread-safe.
std::optional<Date> parseServerDate(std::string_view text);
// Formats a date as "yyyy-MM-dd'T'HH:mm:ss[.SSS]Z" in UTC; the fraction only when the date
// has milliseconds. Thread-safe.
std::string formatServerDate(Date date);

// The JSON form of a field value sent to the server: numbers and booleans as JSON numbers
// and booleans, texts as texts, dates as server date-time texts, bytes as base64 text,
// null as JSON null. Thread-safe.
nlohmann::json jsonFromValue(const Value& value);

}  // namespace dm
