// The value of one attribute of a stored object, and the attribute types a model declares.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "Platform/Foundation/Date.h"

namespace dm {

enum class AttributeType {
  Integer16,
  Integer32,
  Integer64,
  Double,
  Float,
  Boolean,
  String,
  Date,
  Binary,
  // Structured values: a dictionary or a list, kept as a keyed archive in the row (see
  // StructuredValue.h); the Value of such an attribute holds the archive's bytes.
  Dictionary,
  List,
};

inline bool isStructured(AttributeType type) {
  return type == AttributeType::Dictionary || type == AttributeType::List;
}

using Blob = std::vector<std::uint8_t>;

// A tagged value: null, boolean, 64-bit integer, double, text, date or bytes.
// Integers of every width are held as int64; floats as double. Values are plain data and
// may be copied between threads.
class Value {
 public:
  using Storage = std::variant<std::monostate, bool, std::int64_t, double, std::string, Date, Blob>;

  Value() = default;
  Value(std::nullptr_t) {}
  Value(bool v) : storage_(v) {}
  Value(int v) : storage_(static_cast<std::int64_t>(v)) {}
  Value(long v) : storage_(static_cast<std::int64_t>(v)) {}
  Value(long long v) : storage_(static_cast<std::int64_t>(v)) {}
  Value(unsigned v) : storage_(static_cast<std::int64_t>(v)) {}
  Value(double v) : storage_(v) {}
  Value(std::string v) : storage_(std::move(v)) {}
  Value(std::string_view v) : storage_(std::string(v)) {}
  Value(const char* v) : storage_(std::string(v)) {}
  Value(Date v) : storage_(v) {}
  Value(Blob v) : storage_(std::move(v)) {}

  bool isNull() const { return std::holds_alternative<std::monostate>(storage_); }
  bool isBool() const { return std::holds_alternative<bool>(storage_); }
  bool isInteger() const { return std::holds_alternative<std::int64_t>(storage_); }
  bool isDouble() const { return std::holds_alternative<double>(storage_); }
  bool isNumber() const { return isBool() || isInteger() || isDouble(); }
  bool isString() const { return std::holds_alternative<std::string>(storage_); }
  bool isDate() const { return std::holds_alternative<Date>(storage_); }
  bool isBlob() const { return std::holds_alternative<Blob>(storage_); }

  // Numeric views: booleans are 0/1, dates their seconds since 1970, other kinds 0.
  std::int64_t asInt64() const;
  double asDouble() const;
  bool asBool() const { return asInt64() != 0 || asDouble() != 0; }
  // The text, or "" for other kinds.
  const std::string& asString() const;
  Date asDate() const;
  const Blob& asBlob() const;

  const Storage& storage() const { return storage_; }

  // Equality as a predicate sees it: numbers compare by numeric value whatever their kind
  // (1 == 1.0 == true), texts byte-wise, null only equals null.
  friend bool operator==(const Value& a, const Value& b);
  // Ordering for sorting: null first, then numbers (and dates) numerically, then texts,
  // then bytes. Returns <0, 0 or >0.
  static int compare(const Value& a, const Value& b);

  // Human-readable text, for diagnostics and dmctl ("null", numbers, quoted texts).
  std::string description() const;

 private:
  Storage storage_;
};

}  // namespace dm
