// The value of a transient record's field and of the trees that `serialized` builds: a JSON
// shaped value that may also hold dates and other transient records.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include <nlohmann/json.hpp>

#include "Platform/Foundation/Date.h"
#include "Platform/Foundation/NestingLimit.h"
#include "Platform/ObjectStore/Value.h"

namespace dm {

class BaseMappableObject;

// Plain data apart from records, which are shared (a copy of a RecordValue shares the records
// it holds). Copy between threads only when the records it holds are not being changed.
class RecordValue {
 public:
  using Record = std::shared_ptr<BaseMappableObject>;
  using Array = std::vector<RecordValue>;
  using Dictionary = std::map<std::string, RecordValue, std::less<>>;
  using Storage = std::variant<std::monostate, bool, std::int64_t, double, std::string, Date,
                               Record, Array, Dictionary>;

  RecordValue() = default;
  RecordValue(std::nullptr_t) {}
  RecordValue(bool v) : storage_(v) {}
  RecordValue(int v) : storage_(static_cast<std::int64_t>(v)) {}
  RecordValue(long v) : storage_(static_cast<std::int64_t>(v)) {}
  RecordValue(long long v) : storage_(static_cast<std::int64_t>(v)) {}
  RecordValue(double v) : storage_(v) {}
  RecordValue(std::string v) : storage_(std::move(v)) {}
  RecordValue(std::string_view v) : storage_(std::string(v)) {}
  RecordValue(const char* v) : storage_(std::string(v)) {}
  RecordValue(Date v) : storage_(v) {}
  RecordValue(Record v);
  template <class T>
  requires std::is_base_of_v<BaseMappableObject, T> RecordValue(std::shared_ptr<T> v)
      : RecordValue(Record(std::move(v))) {}
  RecordValue(Array v) : storage_(std::move(v)) {}
  RecordValue(Dictionary v) : storage_(std::move(v)) {}

  // The null marker (absent value).
  bool isNull() const { return std::holds_alternative<std::monostate>(storage_); }
  bool isNumber() const;
  bool isString() const { return std::holds_alternative<std::string>(storage_); }
  bool isDate() const { return std::holds_alternative<Date>(storage_); }
  bool isRecord() const { return std::holds_alternative<Record>(storage_); }
  bool isArray() const { return std::holds_alternative<Array>(storage_); }
  bool isDictionary() const { return std::holds_alternative<Dictionary>(storage_); }

  // Numeric views: booleans 0/1, dates seconds since 1970, other kinds 0.
  std::int64_t asInt64() const;
  double asDouble() const;
  bool asBool() const { return asDouble() != 0; }
  // The text, or "" for other kinds.
  const std::string& asString() const;
  // The record, or nullptr for other kinds.
  const Record& asRecord() const;
  // The container, or an empty one for other kinds.
  const Array& asArray() const;
  const Dictionary& asDictionary() const;
  // The entry under `key` of a dictionary; the null marker when absent or not a dictionary.
  const RecordValue& operator[](std::string_view key) const;

  const Storage& storage() const { return storage_; }
  Storage& storage() { return storage_; }

  // Conversions from and to the store's attribute values (records and containers become
  // null; bytes become null too, as transient records carry no byte fields).
  static RecordValue fromValue(const Value& value);
  Value toValue() const;

  // Deepest nesting fromJson accepts (arrays and objects inside each other).
  static constexpr std::size_t kMaximumDepth = 512;
  // From a parsed JSON tree; never holds records. Throws NestingTooDeepError for a tree
  // nested deeper than kMaximumDepth (its copy, and later its destruction, would recurse
  // once per level).
  static RecordValue fromJson(const nlohmann::json& json);
  // The JSON tree: dates as server date-time texts. Nothing when a record is still inside
  // (a record is not JSON; serialise it first).
  std::optional<nlohmann::json> toJson() const;
  // Like toJson, but records are written as {"<ClassName>": <their fields>}; for dmctl and
  // diagnostics.
  nlohmann::json description() const;

  // Deep equality; records compare by identity, numbers by numeric value.
  friend bool operator==(const RecordValue& a, const RecordValue& b);

 private:
  static RecordValue fromJson(const nlohmann::json& json, std::size_t depth);
  Storage storage_;
};

}  // namespace dm
