// In-memory evaluation of a predicate against one object's values. The answers are the
// ones the compiled SQL gives for the same row, NULLs included.
#include <algorithm>
#include <cmath>
#include <string_view>

#include "Platform/ObjectStore/Predicate.h"

namespace dm {
namespace {

using Op = Predicate::Operator;
using EK = PredicateExpression::Kind;

// One side of a comparison once resolved.
struct Operand {
  Value value;
  const ManagedObject* object = nullptr;
  const std::vector<Value>* list = nullptr;
  const std::unordered_set<Value, ValueHash>* listIndex = nullptr;

  bool isNullish() const { return !list && !object && value.isNull(); }
  bool isObject() const { return object != nullptr; }
};

// NaN cannot be stored and binds as NULL, so it behaves as NULL here too.
Value normalized(Value v) {
  if (v.isDouble() && std::isnan(v.asDouble())) return Value();
  return v;
}

Operand resolve(const PredicateExpression& e, const PredicateValueSource& source) {
  Operand o;
  switch (e.kind) {
    case EK::KeyPath: {
      auto resolved = source.valueForKeyPath(e.keyPath);
      o.value = normalized(std::move(resolved.value));
      o.object = resolved.object;
      break;
    }
    case EK::Constant:
      o.value = normalized(e.constant);
      break;
    case EK::ConstantList:
      o.list = &e.list;
      o.listIndex = e.listIndex.get();
      break;
    case EK::Object:
      o.object = e.object;
      break;
  }
  return o;
}

std::string asciiLowercase(std::string_view text) {
  std::string out(text);
  for (char& c : out) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return out;
}

// Splits UTF-8 text into characters: a lead byte and the continuation bytes after it.
std::vector<std::string_view> characters(std::string_view text) {
  std::vector<std::string_view> out;
  std::size_t i = 0;
  while (i < text.size()) {
    std::size_t j = i + 1;
    if (static_cast<unsigned char>(text[i]) >= 0xC0) {
      while (j < text.size() && (static_cast<unsigned char>(text[j]) & 0xC0) == 0x80) ++j;
    }
    out.push_back(text.substr(i, j - i));
    i = j;
  }
  return out;
}

}  // namespace

// Backtracks only to the last '*', so the cost stays O(text x pattern).
bool predicateWildcardMatch(std::string_view text, std::string_view pattern) {
  const auto s = characters(text);
  const auto p = characters(pattern);
  std::size_t si = 0, pi = 0, star = std::string_view::npos, mark = 0;
  while (si < s.size()) {
    if (pi < p.size() && p[pi] != "*" && (p[pi] == "?" || p[pi] == s[si])) {
      ++pi;
      ++si;
    } else if (pi < p.size() && p[pi] == "*") {
      star = pi++;
      mark = si;
    } else if (star != std::string_view::npos) {
      pi = star + 1;
      si = ++mark;
    } else {
      return false;
    }
  }
  while (pi < p.size() && p[pi] == "*") ++pi;
  return pi == p.size();
}

namespace {

bool equalOperands(const Operand& a, const Operand& b, bool caseInsensitive) {
  if (a.list || b.list) throw PredicateError("A list is only allowed on the right side of IN");
  if (a.isNullish() || b.isNullish()) return a.isNullish() && b.isNullish();
  if (a.isObject() || b.isObject()) return a.object == b.object;
  if (caseInsensitive && a.value.isString() && b.value.isString()) {
    return asciiLowercase(a.value.asString()) == asciiLowercase(b.value.asString());
  }
  return a.value == b.value;
}

bool compareOrdered(const Operand& a, Op op, const Operand& b) {
  if (a.list || b.list) throw PredicateError("A list is only allowed on the right side of IN");
  if (a.isNullish() || b.isNullish() || a.isObject() || b.isObject()) return false;
  const int c = Value::compare(a.value, b.value);
  switch (op) {
    case Op::Less:
      return c < 0;
    case Op::LessOrEqual:
      return c <= 0;
    case Op::Greater:
      return c > 0;
    default:
      return c >= 0;
  }
}

bool contains(const Operand& a, const Operand& b) {
  if (!b.list) throw PredicateError("IN needs a list on its right side");
  if (a.list) throw PredicateError("A list is only allowed on the right side of IN");
  if (a.isNullish() || a.isObject()) return false;
  if (b.listIndex) return b.listIndex->count(a.value) != 0;
  return std::any_of(b.list->begin(), b.list->end(), [&](const Value& v) {
    const Value element = normalized(v);
    return !element.isNull() && element == a.value;
  });
}

bool matchText(const Operand& a, Op op, const Operand& b, bool caseInsensitive) {
  if (a.list || b.list) throw PredicateError("A list is only allowed on the right side of IN");
  if (a.isObject() || b.isObject() || !a.value.isString() || !b.value.isString()) return false;
  std::string text = a.value.asString();
  std::string pattern = b.value.asString();
  if (caseInsensitive) {
    text = asciiLowercase(text);
    pattern = asciiLowercase(pattern);
  }
  switch (op) {
    case Op::Like:
      return predicateWildcardMatch(text, pattern);
    case Op::Contains:
      return text.find(pattern) != std::string::npos;
    case Op::BeginsWith:
      return text.compare(0, pattern.size(), pattern) == 0;
    default:
      return text.size() >= pattern.size() &&
             text.compare(text.size() - pattern.size(), pattern.size(), pattern) == 0;
  }
}

bool evaluateComparison(const Predicate& p, const PredicateValueSource& source) {
  const Operand a = resolve(p.left(), source);
  const Operand b = resolve(p.right(), source);
  const bool caseInsensitive = p.options().caseInsensitive;
  switch (p.comparisonOperator()) {
    case Op::Equal:
      return equalOperands(a, b, caseInsensitive);
    case Op::NotEqual:
      return !equalOperands(a, b, caseInsensitive);
    case Op::Less:
    case Op::LessOrEqual:
    case Op::Greater:
    case Op::GreaterOrEqual:
      return compareOrdered(a, p.comparisonOperator(), b);
    case Op::In:
      return contains(a, b);
    case Op::Like:
    case Op::Contains:
    case Op::BeginsWith:
    case Op::EndsWith:
      return matchText(a, p.comparisonOperator(), b, caseInsensitive);
  }
  return false;
}

}  // namespace

bool evaluate(const Predicate& predicate, const PredicateValueSource& source) {
  switch (predicate.kind()) {
    case Predicate::Kind::True:
      return true;
    case Predicate::Kind::False:
      return false;
    case Predicate::Kind::Comparison:
      return evaluateComparison(predicate, source);
    case Predicate::Kind::And:
      return std::all_of(predicate.subpredicates().begin(), predicate.subpredicates().end(),
                         [&](const Predicate& p) { return evaluate(p, source); });
    case Predicate::Kind::Or:
      return std::any_of(predicate.subpredicates().begin(), predicate.subpredicates().end(),
                         [&](const Predicate& p) { return evaluate(p, source); });
    case Predicate::Kind::Not:
      return !evaluate(predicate.subpredicates().front(), source);
  }
  return false;
}

}  // namespace dm
