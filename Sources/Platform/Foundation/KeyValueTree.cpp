// The key-value tree helpers.
#include "Platform/Foundation/KeyValueTree.h"

#include <charconv>

#include "Platform/Foundation/NestingLimit.h"

namespace dm {
namespace {

std::optional<std::int64_t> integerOf(const nlohmann::json& value) {
  if (value.is_number_integer()) return value.get<std::int64_t>();
  if (value.is_number_unsigned()) {
    auto unsignedValue = value.get<std::uint64_t>();
    if (unsignedValue > static_cast<std::uint64_t>(INT64_MAX)) return std::nullopt;
    return static_cast<std::int64_t>(unsignedValue);
  }
  if (value.is_number_float()) {
    double real = value.get<double>();
    auto whole = static_cast<std::int64_t>(real);
    if (static_cast<double>(whole) == real) return whole;
  }
  return std::nullopt;
}

std::optional<std::int64_t> integerOfText(std::string_view text) {
  std::int64_t result = 0;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), result);
  if (error != std::errc() || end != text.data() + text.size() || text.empty()) return std::nullopt;
  return result;
}

}  // namespace

nlohmann::json KeyValueTree::identityMapping(const std::vector<std::string>& names) {
  nlohmann::json mapping = nlohmann::json::object();
  for (const auto& name : names) mapping[name] = name;
  return mapping;
}

namespace {

void refuseTooDeep(const nlohmann::json& tree) {
  if (treeNestedDeeperThan(tree, KeyValueTree::kMaximumDepth))
    throw NestingTooDeepError("A key-value tree", KeyValueTree::kMaximumDepth);
}

nlohmann::json copyWithoutNulls(const nlohmann::json& tree) {
  if (tree.is_object()) {
    nlohmann::json result = nlohmann::json::object();
    for (const auto& [key, value] : tree.items()) {
      if (!value.is_null()) result[key] = copyWithoutNulls(value);
    }
    return result;
  }
  if (tree.is_array()) {
    nlohmann::json result = nlohmann::json::array();
    for (const auto& value : tree) {
      if (!value.is_null()) result.push_back(copyWithoutNulls(value));
    }
    return result;
  }
  return tree;
}

nlohmann::json copyTransformed(
    const nlohmann::json& tree,
    const std::function<nlohmann::json(const nlohmann::json&)>& transform) {
  if (tree.is_object()) {
    nlohmann::json result = nlohmann::json::object();
    for (const auto& [key, value] : tree.items()) result[key] = copyTransformed(value, transform);
    return result;
  }
  if (tree.is_array()) {
    nlohmann::json result = nlohmann::json::array();
    for (const auto& value : tree) result.push_back(copyTransformed(value, transform));
    return result;
  }
  return transform(tree);
}

std::optional<std::string> findFirstText(const nlohmann::json& tree) {
  if (tree.is_string()) return tree.get<std::string>();
  if (tree.is_structured()) {
    for (const auto& value : tree) {
      if (auto text = findFirstText(value)) return text;
    }
  }
  return std::nullopt;
}

}  // namespace

nlohmann::json KeyValueTree::removingNulls(const nlohmann::json& tree) {
  refuseTooDeep(tree);
  return copyWithoutNulls(tree);
}

nlohmann::json KeyValueTree::transformingValues(
    const nlohmann::json& tree,
    const std::function<nlohmann::json(const nlohmann::json&)>& transform) {
  refuseTooDeep(tree);
  return copyTransformed(tree, transform);
}

std::int64_t KeyValueTree::valueForCode(const nlohmann::json& table, std::string_view code) {
  if (!table.is_object()) return kUnknownCodeValue;
  // Keyed by code: {"male": 1}.
  auto found = table.find(std::string(code));
  if (found != table.end()) {
    if (auto value = integerOf(*found)) return *value;
  }
  // Keyed by value: {"1": "male"}.
  for (const auto& [key, entry] : table.items()) {
    if (entry.is_string() && entry.get_ref<const std::string&>() == code) {
      if (auto value = integerOfText(key)) return *value;
    }
  }
  return kUnknownCodeValue;
}

std::string KeyValueTree::codeForValue(const nlohmann::json& table, std::int64_t value) {
  if (!table.is_object()) return "";
  auto found = table.find(std::to_string(value));
  if (found != table.end() && found->is_string()) return found->get<std::string>();
  for (const auto& [key, entry] : table.items()) {
    if (integerOf(entry) == value) return key;
  }
  return "";
}

std::optional<std::string> KeyValueTree::firstText(const nlohmann::json& tree) {
  refuseTooDeep(tree);
  return findFirstText(tree);
}

}  // namespace dm
