// Reading server dictionary values for handbook records.
#include "Handbook/Entities/HandbookDictionaryValues.h"

#include <cmath>
#include <cstdint>

#include "Platform/Foundation/DateFormatting.h"
#include "Platform/Foundation/KeyedArchive.h"
#include "Platform/Foundation/Logger.h"
#include "Platform/Foundation/NestingLimit.h"

namespace dm::handbook_dict {

Node::Node(const nlohmann::json& tree) : tree_(&tree) {
  using T = nlohmann::json::value_t;
  switch (tree.type()) {
    case T::null:
      kind_ = Kind::Null;
      break;
    case T::boolean:
      kind_ = Kind::Boolean;
      boolean_ = tree.get<bool>();
      break;
    case T::number_integer:
      kind_ = Kind::Integer;
      integer_ = tree.get<std::int64_t>();
      break;
    case T::number_unsigned:
      kind_ = Kind::Unsigned;
      unsigned_ = tree.get<std::uint64_t>();
      break;
    case T::number_float:
      kind_ = Kind::Real;
      real_ = tree.get<double>();
      break;
    case T::string:
      kind_ = Kind::String;
      string_ = tree.get_ref<const std::string&>();
      break;
    case T::array:
      kind_ = Kind::Array;
      break;
    case T::object:
      kind_ = Kind::Object;
      break;
    default:  // binary and discarded values read as null
      kind_ = Kind::Null;
      break;
  }
}

Node::Node(simdjson::dom::element element) : element_(element) {
  using T = simdjson::dom::element_type;
  switch (element.type()) {
    case T::NULL_VALUE:
      kind_ = Kind::Null;
      break;
    case T::BOOL:
      kind_ = Kind::Boolean;
      boolean_ = element.get_bool().value_unsafe();
      break;
    case T::INT64:
      kind_ = Kind::Integer;
      integer_ = element.get_int64().value_unsafe();
      break;
    case T::UINT64:
      kind_ = Kind::Unsigned;
      unsigned_ = element.get_uint64().value_unsafe();
      break;
    case T::DOUBLE:
      kind_ = Kind::Real;
      real_ = element.get_double().value_unsafe();
      break;
    case T::STRING:
      kind_ = Kind::String;
      string_ = element.get_string().value_unsafe();
      break;
    case T::ARRAY:
      kind_ = Kind::Array;
      break;
    case T::OBJECT:
      kind_ = Kind::Object;
      break;
  }
}

Node Node::find(std::string_view key) const {
  if (kind_ != Kind::Object) return {};
  if (tree_) {
    auto it = tree_->find(key);
    return it == tree_->end() ? Node() : Node(*it);
  }
  // The tree form keeps the last of repeated keys; so does this.
  Node found;
  simdjson::dom::object object = element_.get_object().value_unsafe();
  for (auto field : object)
    if (field.key == key) found = Node(field.value);
  return found;
}

std::size_t Node::size() const {
  if (kind_ != Kind::Array && kind_ != Kind::Object) return 0;
  if (tree_) return tree_->size();
  if (kind_ == Kind::Array) return element_.get_array().value_unsafe().size();
  return element_.get_object().value_unsafe().size();
}

nlohmann::json Node::toTree() const {
  if (tree_) {
    // A caller's tree may be any depth; the parsed text form is bounded by the parser.
    if (treeNestedDeeperThan(*tree_, kMaximumDepth)) {
      logWarning("A handbook value nested deeper than " + std::to_string(kMaximumDepth) +
                 " levels is read as empty");
      return nullptr;
    }
    return *tree_;
  }
  switch (kind_) {
    case Kind::Absent:
    case Kind::Null:
      return nullptr;
    case Kind::Boolean:
      return boolean_;
    case Kind::Integer:
      // The tree form reads non-negative integers as unsigned.
      if (integer_ >= 0) return static_cast<std::uint64_t>(integer_);
      return integer_;
    case Kind::Unsigned:
      return unsigned_;
    case Kind::Real:
      return real_;
    case Kind::String:
      return std::string(string_);
    case Kind::Array: {
      nlohmann::json out = nlohmann::json::array();
      forEachElement([&](const Node& child) { out.push_back(child.toTree()); });
      return out;
    }
    case Kind::Object: {
      nlohmann::json out = nlohmann::json::object();
      simdjson::dom::object object = element_.get_object().value_unsafe();
      for (auto field : object) out[std::string(field.key)] = Node(field.value).toTree();
      return out;
    }
  }
  return nullptr;
}

namespace {

// Mixes the length and three characters: server keys differ in one of them almost always.
std::size_t slotOf(std::string_view key) {
  std::size_t h = key.size() * 0x9E3779B1u;
  if (!key.empty()) {
    h ^= static_cast<unsigned char>(key.front()) * 0x85EBCA77u;
    h ^= static_cast<unsigned char>(key.back()) * 0xC2B2AE3Du;
    h ^= static_cast<unsigned char>(key[key.size() / 2]) * 0x27D4EB2Fu;
  }
  return h ^ (h >> 13);
}

}  // namespace

Dictionary::Dictionary(const Node& node) {
  reset(node);
}

void Dictionary::reset(const Node& node) {
  node_ = node;
  if (hashed_) slots_.fill(0);
  hashed_ = false;
  members_.clear();
  if (!node.isObject() || node.tree_) return;
  simdjson::dom::object object = node.element_.get_object().value_unsafe();
  members_.reserve(object.size());
  for (auto field : object) members_.emplace_back(field.key, field.value);
  if (members_.size() > kMaxHashed) return;
  hashed_ = true;
  for (std::size_t i = 0; i < members_.size(); ++i) {
    for (std::size_t slot = slotOf(members_[i].first);; ++slot) {
      std::uint8_t& entry = slots_[slot % kSlots];
      if (entry == 0 || members_[entry - 1].first == members_[i].first) {
        entry = static_cast<std::uint8_t>(i + 1);
        break;
      }
    }
  }
}

Node Dictionary::find(std::string_view key) const {
  if (node_.tree_ || !node_.isObject()) return node_.find(key);
  if (hashed_) {
    for (std::size_t slot = slotOf(key);; ++slot) {
      std::uint8_t entry = slots_[slot % kSlots];
      if (entry == 0) return {};
      if (members_[entry - 1].first == key) return Node(members_[entry - 1].second);
    }
  }
  for (auto it = members_.rbegin(); it != members_.rend(); ++it)
    if (it->first == key) return Node(it->second);
  return {};
}

Value unsignedNumber(const Dictionary& dict, std::string_view key) {
  Node v = dict.find(key);
  switch (v.kind()) {
    // Negative values and values past the stored 64-bit range are not unsigned integers of
    // the store: they read as empty rather than as a wrapped-around number.
    case Node::Kind::Unsigned:
      if (v.unsignedInteger() > static_cast<std::uint64_t>(INT64_MAX)) return {};
      return Value(static_cast<std::int64_t>(v.unsignedInteger()));
    case Node::Kind::Integer:
      if (v.integer() < 0) return {};
      return Value(v.integer());
    case Node::Kind::Real: {
      if (!std::isfinite(v.real())) return Value(std::int64_t{0});
      const double truncated = std::trunc(v.real());
      // -0.5 truncates to 0, which is a valid unsigned value.
      if (truncated < 0 || truncated >= 9223372036854775808.0) return {};
      return Value(static_cast<std::int64_t>(truncated));
    }
    case Node::Kind::Boolean:
      return Value(std::int64_t{v.boolean() ? 1 : 0});
    default:
      return {};
  }
}

Value doubleNumber(const Dictionary& dict, std::string_view key) {
  Node v = dict.find(key);
  switch (v.kind()) {
    case Node::Kind::Unsigned:
      return Value(static_cast<double>(v.unsignedInteger()));
    case Node::Kind::Integer:
      return Value(static_cast<double>(v.integer()));
    case Node::Kind::Real:
      return Value(v.real());
    case Node::Kind::Boolean:
      return Value(v.boolean() ? 1.0 : 0.0);
    default:
      return {};
  }
}

Value text(const Dictionary& dict, std::string_view key) {
  Node v = dict.find(key);
  if (v.kind() != Node::Kind::String) return {};
  return Value(std::string(v.string()));
}

Value date(const Dictionary& dict, std::string_view key) {
  Node v = dict.find(key);
  if (v.kind() != Node::Kind::String) return {};
  if (auto d = dateFromServerString(v.string())) return Value(*d);
  return {};
}

Value integerAsText(const Dictionary& dict, std::string_view key) {
  Node v = dict.find(key);
  if (v.kind() == Node::Kind::Unsigned) return Value(std::to_string(v.unsignedInteger()));
  if (v.kind() == Node::Kind::Integer) return Value(std::to_string(v.integer()));
  return {};
}

Value keyedArchive(const Dictionary& dict, std::string_view key, bool wantObject) {
  Node v = dict.find(key);
  if (wantObject ? !v.isObject() : !v.isArray()) return {};
  if (auto bytes = KeyedArchive::archivedData(v.toTree())) return Value(std::move(*bytes));
  return {};
}

Value jsonList(const Dictionary& dict, std::string_view key) {
  Node v = dict.find(key);
  if (!v.isArray()) return {};
  try {
    std::string text = v.toTree().dump();
    return Value(Blob(text.begin(), text.end()));
  } catch (const nlohmann::json::exception&) {
    return {};  // invalid UTF-8 in a text
  }
}

namespace {

std::optional<std::int64_t> nonNegativeInteger(const Node& id) {
  if (id.kind() == Node::Kind::Unsigned) {
    if (id.unsignedInteger() > static_cast<std::uint64_t>(INT64_MAX)) return std::nullopt;
    return static_cast<std::int64_t>(id.unsignedInteger());
  }
  if (id.kind() == Node::Kind::Integer && id.integer() >= 0) return id.integer();
  return std::nullopt;  // negative, fractional or not a number
}

}  // namespace

std::optional<std::int64_t> identifier(const Node& element) {
  if (!element.isObject()) return std::nullopt;
  return nonNegativeInteger(element.find("id"));
}

std::optional<std::int64_t> identifier(const Dictionary& element) {
  if (!element.isObject()) return std::nullopt;
  return nonNegativeInteger(element.find("id"));
}

}  // namespace dm::handbook_dict
