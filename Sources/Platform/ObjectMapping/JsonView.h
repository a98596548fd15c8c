// Read-only views of one JSON value over the two parsed forms the engine accepts (the fast
// DOM of payload text and an nlohmann::json tree), so that mapping code is written once as
// a template over the view. Internal to the mapping engine's sources.
#pragma once

#include <algorithm>
#include <optional>
#include <string_view>
#include <vector>

#include <simdjson.h>
#include <nlohmann/json.hpp>

#include "Platform/ObjectMapping/ValueTransformer.h"

namespace dm::json_view {

// A value of a parsed payload text. Valid while the parser that produced it lives.
class DomNode {
 public:
  DomNode() = default;
  explicit DomNode(simdjson::dom::element element) : element_(element) {}

  bool isNull() const { return element_.is_null(); }
  bool isObject() const { return element_.is_object(); }
  bool isArray() const { return element_.is_array(); }

  std::optional<DomNode> find(std::string_view key) const {
    simdjson::dom::element child;
    if (element_.at_key(key).get(child) != simdjson::SUCCESS) return std::nullopt;
    return DomNode(child);
  }

  // Elements of an array (0 for other values), for reserving.
  std::size_t size() const {
    simdjson::dom::array array;
    if (element_.get_array().get(array) != simdjson::SUCCESS) return 0;
    return array.size();
  }

  template <class F>
  void forEachElement(F&& f) const {
    simdjson::dom::array array;
    if (element_.get_array().get(array) != simdjson::SUCCESS) return;
    for (simdjson::dom::element child : array) f(DomNode(child));
  }

  JsonScalar scalar() const {
    JsonScalar s;
    switch (element_.type()) {
      case simdjson::dom::element_type::NULL_VALUE:
        break;
      case simdjson::dom::element_type::BOOL:
        s.type = JsonScalar::Type::Boolean;
        s.boolean = bool(element_.get_bool().value_unsafe());
        break;
      case simdjson::dom::element_type::INT64:
        s.type = JsonScalar::Type::Integer;
        s.integer = element_.get_int64().value_unsafe();
        break;
      case simdjson::dom::element_type::UINT64:
        s.type = JsonScalar::Type::Unsigned;
        s.unsignedInteger = element_.get_uint64().value_unsafe();
        s.real = static_cast<double>(s.unsignedInteger);
        break;
      case simdjson::dom::element_type::DOUBLE:
        s.type = JsonScalar::Type::Real;
        s.real = element_.get_double().value_unsafe();
        break;
      case simdjson::dom::element_type::STRING:
        s.type = JsonScalar::Type::String;
        s.text = element_.get_string().value_unsafe();
        break;
      case simdjson::dom::element_type::ARRAY:
        s.type = JsonScalar::Type::Array;
        break;
      case simdjson::dom::element_type::OBJECT:
        s.type = JsonScalar::Type::Object;
        break;
    }
    return s;
  }

  // Deep copy into a tree. The parser bounds the depth, so recursion is safe here.
  nlohmann::json toTree() const { return toTree(element_); }

  // Nesting depth up to `limit` (stops counting once deeper). The parser bounds the depth,
  // so the recursion is bounded too.
  unsigned depth(unsigned limit) const { return depthOf(element_, 0, limit); }

 private:
  static unsigned depthOf(simdjson::dom::element e, unsigned level, unsigned limit) {
    unsigned deepest = level + 1;
    if (deepest > limit) return deepest;
    simdjson::dom::array array;
    simdjson::dom::object object;
    if (e.get_array().get(array) == simdjson::SUCCESS) {
      for (simdjson::dom::element child : array) {
        deepest = std::max(deepest, depthOf(child, level + 1, limit));
        if (deepest > limit) break;
      }
    } else if (e.get_object().get(object) == simdjson::SUCCESS) {
      for (auto field : object) {
        deepest = std::max(deepest, depthOf(field.value, level + 1, limit));
        if (deepest > limit) break;
      }
    } else {
      return level;
    }
    return deepest;
  }

  static nlohmann::json toTree(simdjson::dom::element e) {
    switch (e.type()) {
      case simdjson::dom::element_type::ARRAY: {
        nlohmann::json out = nlohmann::json::array();
        simdjson::dom::array array;
        if (e.get_array().get(array) != simdjson::SUCCESS) return out;
        for (simdjson::dom::element child : array) {
          out.push_back(toTree(child));
        }
        return out;
      }
      case simdjson::dom::element_type::OBJECT: {
        nlohmann::json out = nlohmann::json::object();
        simdjson::dom::object object;
        if (e.get_object().get(object) != simdjson::SUCCESS) return out;
        for (auto field : object) {
          out[std::string(field.key)] = toTree(field.value);
        }
        return out;
      }
      case simdjson::dom::element_type::INT64:
        return e.get_int64().value_unsafe();
      case simdjson::dom::element_type::UINT64:
        return e.get_uint64().value_unsafe();
      case simdjson::dom::element_type::DOUBLE:
        return e.get_double().value_unsafe();
      case simdjson::dom::element_type::STRING:
        return std::string(e.get_string().value_unsafe());
      case simdjson::dom::element_type::BOOL:
        return bool(e.get_bool().value_unsafe());
      case simdjson::dom::element_type::NULL_VALUE:
        break;
    }
    return nullptr;
  }

  simdjson::dom::element element_;
};

// A value of an nlohmann::json tree. Valid while the tree lives and is not modified.
class TreeNode {
 public:
  TreeNode() = default;
  explicit TreeNode(const nlohmann::json& json) : json_(&json) {}

  bool isNull() const { return json_->is_null(); }
  bool isObject() const { return json_->is_object(); }
  bool isArray() const { return json_->is_array(); }

  std::optional<TreeNode> find(std::string_view key) const {
    if (!json_->is_object()) return std::nullopt;
    auto it = json_->find(key);
    if (it == json_->end()) return std::nullopt;
    return TreeNode(*it);
  }

  std::size_t size() const { return json_->is_array() ? json_->size() : 0; }

  template <class F>
  void forEachElement(F&& f) const {
    if (!json_->is_array()) return;
    for (const auto& child : *json_) f(TreeNode(child));
  }

  JsonScalar scalar() const {
    JsonScalar s;
    switch (json_->type()) {
      case nlohmann::json::value_t::boolean:
        s.type = JsonScalar::Type::Boolean;
        s.boolean = json_->get<bool>();
        break;
      case nlohmann::json::value_t::number_integer:
        s.type = JsonScalar::Type::Integer;
        s.integer = json_->get<std::int64_t>();
        break;
      case nlohmann::json::value_t::number_unsigned: {
        const auto u = json_->get<std::uint64_t>();
        if (u <= static_cast<std::uint64_t>(INT64_MAX)) {
          s.type = JsonScalar::Type::Integer;
          s.integer = static_cast<std::int64_t>(u);
        } else {
          s.type = JsonScalar::Type::Unsigned;
          s.unsignedInteger = u;
          s.real = static_cast<double>(u);
        }
        break;
      }
      case nlohmann::json::value_t::number_float:
        s.type = JsonScalar::Type::Real;
        s.real = json_->get<double>();
        break;
      case nlohmann::json::value_t::string:
        s.type = JsonScalar::Type::String;
        s.text = json_->get_ref<const std::string&>();
        break;
      case nlohmann::json::value_t::array:
        s.type = JsonScalar::Type::Array;
        break;
      case nlohmann::json::value_t::object:
        s.type = JsonScalar::Type::Object;
        break;
      default:
        break;
    }
    return s;
  }

  nlohmann::json toTree() const { return *json_; }

  // Nesting depth, counted without recursion and capped just above `limit`, so that a
  // caller can refuse a tree too deep to copy safely.
  unsigned depth(unsigned limit) const {
    struct Frame {
      const nlohmann::json* json;
      unsigned level;
    };
    std::vector<Frame> stack{{json_, 0}};
    unsigned deepest = 0;
    while (!stack.empty()) {
      Frame frame = stack.back();
      stack.pop_back();
      if (!frame.json->is_structured()) continue;
      deepest = std::max(deepest, frame.level + 1);
      if (deepest > limit) return deepest;
      for (const auto& child : *frame.json) stack.push_back({&child, frame.level + 1});
    }
    return deepest;
  }

 private:
  const nlohmann::json* json_ = nullptr;
};

}  // namespace dm::json_view
