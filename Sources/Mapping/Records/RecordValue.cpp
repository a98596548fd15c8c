// Values of transient record fields and their JSON form.
#include "Mapping/Records/RecordValue.h"

#include <cmath>

#include "Mapping/Records/BaseMappableObject.h"
#include "Platform/ObjectMapping/ValueTransformer.h"

namespace dm {
namespace {

const std::string kEmptyString;
const RecordValue::Record kNoRecord;
const RecordValue::Array kEmptyArray;
const RecordValue::Dictionary kEmptyDictionary;
const RecordValue kNull;

template <class Visitor>
std::optional<nlohmann::json> toJsonWith(const RecordValue& value, const Visitor& onRecord) {
  struct Walker {
    const Visitor& onRecord;
    std::optional<nlohmann::json> operator()(std::monostate) const { return nullptr; }
    std::optional<nlohmann::json> operator()(bool v) const { return v; }
    std::optional<nlohmann::json> operator()(std::int64_t v) const { return v; }
    std::optional<nlohmann::json> operator()(double v) const { return v; }
    std::optional<nlohmann::json> operator()(const std::string& v) const { return v; }
    std::optional<nlohmann::json> operator()(Date v) const { return formatServerDate(v); }
    std::optional<nlohmann::json> operator()(const RecordValue::Record& v) const {
      return onRecord(v);
    }
    std::optional<nlohmann::json> operator()(const RecordValue::Array& v) const {
      nlohmann::json out = nlohmann::json::array();
      for (const auto& element : v) {
        auto json = std::visit(*this, element.storage());
        if (!json) return std::nullopt;
        out.push_back(std::move(*json));
      }
      return out;
    }
    std::optional<nlohmann::json> operator()(const RecordValue::Dictionary& v) const {
      nlohmann::json out = nlohmann::json::object();
      for (const auto& [key, element] : v) {
        auto json = std::visit(*this, element.storage());
        if (!json) return std::nullopt;
        out[key] = std::move(*json);
      }
      return out;
    }
  };
  return std::visit(Walker{onRecord}, value.storage());
}

}  // namespace

RecordValue::RecordValue(Record v) {
  if (v) storage_ = std::move(v);
}

bool RecordValue::isNumber() const {
  return std::holds_alternative<bool>(storage_) || std::holds_alternative<std::int64_t>(storage_) ||
         std::holds_alternative<double>(storage_);
}

std::int64_t RecordValue::asInt64() const {
  if (auto* b = std::get_if<bool>(&storage_)) return *b ? 1 : 0;
  if (auto* i = std::get_if<std::int64_t>(&storage_)) return *i;
  if (auto* d = std::get_if<double>(&storage_)) {
    if (!std::isfinite(*d) || std::fabs(*d) >= 9.2e18) return 0;
    return static_cast<std::int64_t>(*d);
  }
  if (auto* date = std::get_if<Date>(&storage_))
    return static_cast<std::int64_t>(date->timeIntervalSince1970);
  return 0;
}

double RecordValue::asDouble() const {
  if (auto* b = std::get_if<bool>(&storage_)) return *b ? 1 : 0;
  if (auto* i = std::get_if<std::int64_t>(&storage_)) return static_cast<double>(*i);
  if (auto* d = std::get_if<double>(&storage_)) return *d;
  if (auto* date = std::get_if<Date>(&storage_)) return date->timeIntervalSince1970;
  return 0;
}

const std::string& RecordValue::asString() const {
  auto* s = std::get_if<std::string>(&storage_);
  return s ? *s : kEmptyString;
}

const RecordValue::Record& RecordValue::asRecord() const {
  auto* r = std::get_if<Record>(&storage_);
  return r ? *r : kNoRecord;
}

const RecordValue::Array& RecordValue::asArray() const {
  auto* a = std::get_if<Array>(&storage_);
  return a ? *a : kEmptyArray;
}

const RecordValue::Dictionary& RecordValue::asDictionary() const {
  auto* d = std::get_if<Dictionary>(&storage_);
  return d ? *d : kEmptyDictionary;
}

const RecordValue& RecordValue::operator[](std::string_view key) const {
  const Dictionary& d = asDictionary();
  auto it = d.find(key);
  return it == d.end() ? kNull : it->second;
}

RecordValue RecordValue::fromValue(const Value& value) {
  const auto& s = value.storage();
  if (auto* b = std::get_if<bool>(&s)) return *b;
  if (auto* i = std::get_if<std::int64_t>(&s)) return static_cast<long long>(*i);
  if (auto* d = std::get_if<double>(&s)) return *d;
  if (auto* t = std::get_if<std::string>(&s)) return *t;
  if (auto* date = std::get_if<Date>(&s)) return *date;
  return {};
}

Value RecordValue::toValue() const {
  if (auto* b = std::get_if<bool>(&storage_)) return *b;
  if (auto* i = std::get_if<std::int64_t>(&storage_)) return static_cast<long long>(*i);
  if (auto* d = std::get_if<double>(&storage_)) return *d;
  if (auto* t = std::get_if<std::string>(&storage_)) return *t;
  if (auto* date = std::get_if<Date>(&storage_)) return *date;
  return {};
}

RecordValue RecordValue::fromJson(const nlohmann::json& json) {
  return fromJson(json, 0);
}

RecordValue RecordValue::fromJson(const nlohmann::json& json, std::size_t depth) {
  if (json.is_structured() && depth >= kMaximumDepth)
    throw NestingTooDeepError("A JSON value", kMaximumDepth);
  switch (json.type()) {
    case nlohmann::json::value_t::boolean:
      return json.get<bool>();
    case nlohmann::json::value_t::number_integer:
      return static_cast<long long>(json.get<std::int64_t>());
    case nlohmann::json::value_t::number_unsigned: {
      auto u = json.get<std::uint64_t>();
      if (u <= static_cast<std::uint64_t>(INT64_MAX)) return static_cast<long long>(u);
      return static_cast<double>(u);
    }
    case nlohmann::json::value_t::number_float:
      return json.get<double>();
    case nlohmann::json::value_t::string:
      return json.get<std::string>();
    case nlohmann::json::value_t::array: {
      Array out;
      out.reserve(json.size());
      for (const auto& element : json) out.push_back(fromJson(element, depth + 1));
      return out;
    }
    case nlohmann::json::value_t::object: {
      Dictionary out;
      for (auto it = json.begin(); it != json.end(); ++it)
        out.emplace(it.key(), fromJson(*it, depth + 1));
      return out;
    }
    default:
      return {};
  }
}

std::optional<nlohmann::json> RecordValue::toJson() const {
  return toJsonWith(*this,
                    [](const Record&) -> std::optional<nlohmann::json> { return std::nullopt; });
}

nlohmann::json RecordValue::description() const {
  auto json = toJsonWith(*this, [](const Record& record) -> std::optional<nlohmann::json> {
    // A record may hold itself; the cap keeps the description finite.
    static thread_local int depth = 0;
    if (depth >= 16) return "...";
    ++depth;
    nlohmann::json fields = nlohmann::json::object();
    for (const auto& name : record->propertyNames()) {
      fields[name] = record->valueForKey(name).description();
    }
    --depth;
    return nlohmann::json{{std::string(record->className()), std::move(fields)}};
  });
  return json ? std::move(*json) : nlohmann::json();
}

bool operator==(const RecordValue& a, const RecordValue& b) {
  if (a.isNumber() && b.isNumber()) return a.asDouble() == b.asDouble();
  return a.storage_ == b.storage_;
}

}  // namespace dm
