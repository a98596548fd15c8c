// Reading server dictionary values for handbook records.
#include "Handbook/Entities/HandbookDictionaryValues.h"

#include <cmath>

#include "Platform/Foundation/DateFormatting.h"
#include "Platform/Foundation/KeyedArchive.h"

namespace dm::handbook_dict {

namespace {
const nlohmann::json* find(const nlohmann::json& dict, std::string_view key) {
  if (!dict.is_object()) return nullptr;
  auto it = dict.find(key);
  return it == dict.end() ? nullptr : &*it;
}
}  // namespace

Value unsignedNumber(const nlohmann::json& dict, std::string_view key) {
  const auto* v = find(dict, key);
  if (!v) return {};
  if (v->is_number_unsigned()) return Value(static_cast<std::int64_t>(v->get<std::uint64_t>()));
  if (v->is_number_integer()) return Value(v->get<std::int64_t>());
  if (v->is_number_float()) {
    double d = v->get<double>();
    if (!std::isfinite(d)) return Value(std::int64_t{0});
    return Value(static_cast<std::int64_t>(std::trunc(d)));
  }
  if (v->is_boolean()) return Value(std::int64_t{v->get<bool>() ? 1 : 0});
  return {};
}

Value doubleNumber(const nlohmann::json& dict, std::string_view key) {
  const auto* v = find(dict, key);
  if (!v) return {};
  if (v->is_number()) return Value(v->get<double>());
  if (v->is_boolean()) return Value(v->get<bool>() ? 1.0 : 0.0);
  return {};
}

Value text(const nlohmann::json& dict, std::string_view key) {
  const auto* v = find(dict, key);
  if (!v || !v->is_string()) return {};
  return Value(v->get<std::string>());
}

Value date(const nlohmann::json& dict, std::string_view key) {
  const auto* v = find(dict, key);
  if (!v || !v->is_string()) return {};
  if (auto d = dateFromServerString(v->get_ref<const std::string&>())) return Value(*d);
  return {};
}

Value integerAsText(const nlohmann::json& dict, std::string_view key) {
  const auto* v = find(dict, key);
  if (!v) return {};
  if (v->is_number_unsigned()) return Value(std::to_string(v->get<std::uint64_t>()));
  if (v->is_number_integer()) return Value(std::to_string(v->get<std::int64_t>()));
  return {};
}

Value keyedArchive(const nlohmann::json& dict, std::string_view key, bool wantObject) {
  const auto* v = find(dict, key);
  if (!v || (wantObject ? !v->is_object() : !v->is_array())) return {};
  if (auto bytes = KeyedArchive::archivedData(*v)) return Value(std::move(*bytes));
  return {};
}

Value jsonList(const nlohmann::json& dict, std::string_view key) {
  const auto* v = find(dict, key);
  if (!v || !v->is_array()) return {};
  try {
    std::string text = v->dump();
    return Value(Blob(text.begin(), text.end()));
  } catch (const nlohmann::json::exception&) {
    return {};  // invalid UTF-8 in a text
  }
}

std::optional<std::int64_t> identifier(const nlohmann::json& element) {
  if (!element.is_object()) return std::nullopt;
  auto it = element.find("id");
  if (it == element.end()) return std::nullopt;
  if (it->is_number_unsigned()) {
    auto u = it->get<std::uint64_t>();
    if (u > static_cast<std::uint64_t>(INT64_MAX)) return std::nullopt;
    return static_cast<std::int64_t>(u);
  }
  if (it->is_number_integer() && it->get<std::int64_t>() >= 0) return it->get<std::int64_t>();
  return std::nullopt;  // negative, fractional or not a number
}

}  // namespace dm::handbook_dict
