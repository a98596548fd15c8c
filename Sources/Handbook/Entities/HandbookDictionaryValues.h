// How handbook records read the server's dictionary values: a wrongly typed or missing value
// always reads as empty (a null Value), never as an error. Values are read either from an
// nlohmann::json tree or straight from a parsed payload text, with the same results.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include <simdjson.h>
#include <nlohmann/json.hpp>

#include "Platform/ObjectStore/Value.h"

namespace dm::handbook_dict {

// Deepest nesting of a handbook value that is read (the fast parser's own limit): payload
// text nested deeper is refused before a tree is built, and toTree gives null for deeper
// trees, since copying one recurses once per level.
inline constexpr std::size_t kMaximumDepth = 1024;

// One JSON value of either form. Non-owning: valid while the tree or the parser that produced
// it lives (and the tree is not modified). A default node is absent. Any thread.
class Node {
 public:
  enum class Kind { Absent, Null, Boolean, Integer, Unsigned, Real, String, Array, Object };

  Node() = default;
  Node(const nlohmann::json& tree);  // NOLINT: implicit, so tree callers read unchanged
  explicit Node(simdjson::dom::element element);

  Kind kind() const { return kind_; }
  bool isObject() const { return kind_ == Kind::Object; }
  bool isArray() const { return kind_ == Kind::Array; }
  bool isNumber() const {
    return kind_ == Kind::Integer || kind_ == Kind::Unsigned || kind_ == Kind::Real;
  }
  // Scalars; meaningful only for the matching kind.
  bool boolean() const { return boolean_; }
  std::int64_t integer() const { return integer_; }
  std::uint64_t unsignedInteger() const { return unsigned_; }
  double real() const { return real_; }
  std::string_view string() const { return string_; }

  // The member under `key` of an object (the last one when repeated); absent otherwise.
  Node find(std::string_view key) const;
  // Array elements in order; nothing for any other kind.
  template <class F>
  void forEachElement(F&& f) const {
    if (kind_ != Kind::Array) return;
    if (tree_) {
      for (const auto& child : *tree_) f(Node(child));
    } else {
      simdjson::dom::array array;
      if (element_.get_array().get(array) != simdjson::SUCCESS) return;
      for (simdjson::dom::element child : array) f(Node(child));
    }
  }
  // The number of array elements or object members; 0 for scalars.
  std::size_t size() const;
  // A deep copy as a tree (null for an absent node, and for a tree nested deeper than
  // kMaximumDepth).
  nlohmann::json toTree() const;

 private:
  friend class Dictionary;
  Kind kind_ = Kind::Absent;
  bool boolean_ = false;
  std::int64_t integer_ = 0;
  std::uint64_t unsigned_ = 0;
  double real_ = 0;
  std::string_view string_;
  const nlohmann::json* tree_ = nullptr;  // tree form
  simdjson::dom::element element_;        // text form, when tree_ is null
};

// A dictionary the records read many keys of: the members of a parsed payload object are
// listed and hashed once, so that each key costs a probe or two instead of a walk of the
// parsed text. Any other node reads as an empty dictionary. Non-owning like Node. Any thread.
class Dictionary {
 public:
  Dictionary(const nlohmann::json& tree) : Dictionary(Node(tree)) {}  // NOLINT: implicit
  Dictionary(const Node& node);                                       // NOLINT: implicit

  // Reads another node, keeping the member list's storage: one dictionary can serve a run
  // of records without an allocation per record.
  void reset(const Node& node);

  bool isObject() const { return node_.isObject(); }
  const Node& node() const { return node_; }
  // The member under `key` (the last one when repeated); absent when none.
  Node find(std::string_view key) const;

 private:
  // Objects with more members than this are scanned instead of hashed.
  static constexpr std::size_t kSlots = 128;
  static constexpr std::size_t kMaxHashed = kSlots * 3 / 4;

  Node node_;
  std::vector<std::pair<std::string_view, simdjson::dom::element>> members_;  // text form
  // Open addressing over members_: a slot holds a member's index + 1 (0: empty); a repeated
  // key keeps its last member.
  std::array<std::uint8_t, kSlots> slots_{};
  bool hashed_ = false;
};

// Pure functions; any thread.

// A number taken as an unsigned integer (fractions truncated, booleans 0/1); else null, also
// for a negative number or one past the 64-bit signed range.
Value unsignedNumber(const Dictionary& dict, std::string_view key);
// A number as a double (booleans 0/1); else null.
Value doubleNumber(const Dictionary& dict, std::string_view key);
// A text; else null.
Value text(const Dictionary& dict, std::string_view key);
// A server date-time text parsed as a date; else null.
Value date(const Dictionary& dict, std::string_view key);
// An integer written as its decimal text; else null.
Value integerAsText(const Dictionary& dict, std::string_view key);
// A list (or, with wantObject, a dictionary) stored as a keyed archive; else null.
Value keyedArchive(const Dictionary& dict, std::string_view key, bool wantObject);
// A list stored as its JSON text (as the tree form writes it); else null.
Value jsonList(const Dictionary& dict, std::string_view key);
// The element's "id" when the element is a dictionary and its "id" a non-negative integer.
std::optional<std::int64_t> identifier(const Node& element);
std::optional<std::int64_t> identifier(const Dictionary& element);

}  // namespace dm::handbook_dict
