// The predicate tree: its nodes, builders, accessors, key path listing and format text.
#include "Platform/ObjectStore/Predicate.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <unordered_set>

namespace dm {

struct Predicate::Node {
  Kind kind = Kind::True;
  Operator op = Operator::Equal;
  Options options;
  PredicateExpression left;
  PredicateExpression right;
  std::vector<Predicate> subpredicates;
  int depth = 1;  // longest path to a leaf, bounded so recursive walks stay shallow
};

namespace {

// Trees deeper than this are refused so that evaluation, compilation and printing, which
// recurse, cannot exhaust the stack.
constexpr int kMaxTreeDepth = 1000;

int depthOf(const std::vector<Predicate>& subpredicates) {
  int deepest = 0;
  for (const auto& p : subpredicates) deepest = std::max(deepest, p.depth());
  return deepest + 1;
}

void appendQuoted(std::string& out, const std::string& text) {
  out += '"';
  for (unsigned char c : text) {
    switch (c) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      case '\t':
        out += "\\t";
        break;
      default:
        if (c < 0x20) {
          char buffer[8];
          std::snprintf(buffer, sizeof buffer, "\\u%04x", c);
          out += buffer;
        } else {
          out += static_cast<char>(c);
        }
    }
  }
  out += '"';
}

void appendNumber(std::string& out, double d) {
  if (std::isnan(d)) {
    out += "NULL";  // NaN equals nothing, like NULL; there is no literal for it
    return;
  }
  if (std::isinf(d)) {
    out += d > 0 ? "1e999" : "-1e999";
    return;
  }
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%.17g", d);
  std::string text = buffer;
  // Keep the decimal kind when read back.
  if (text.find_first_of(".eE") == std::string::npos) text += ".0";
  out += text;
}

void appendValue(std::string& out, const Value& v) {
  if (v.isNull()) {
    out += "NULL";
  } else if (v.isBool()) {
    out += v.asBool() ? "YES" : "NO";
  } else if (v.isInteger()) {
    out += std::to_string(v.asInt64());
  } else if (v.isDouble() || v.isDate()) {
    appendNumber(out, v.asDouble());
  } else if (v.isString()) {
    appendQuoted(out, v.asString());
  } else {
    out += "<" + std::to_string(v.asBlob().size()) + " bytes>";
  }
}

void appendExpression(std::string& out, const PredicateExpression& e) {
  switch (e.kind) {
    case PredicateExpression::Kind::KeyPath:
      out += e.keyPath;
      break;
    case PredicateExpression::Kind::Constant:
      appendValue(out, e.constant);
      break;
    case PredicateExpression::Kind::ConstantList: {
      out += '{';
      for (std::size_t i = 0; i < e.list.size(); ++i) {
        if (i) out += ", ";
        appendValue(out, e.list[i]);
      }
      out += '}';
      break;
    }
    case PredicateExpression::Kind::Object: {
      if (!e.object) {
        out += "NULL";
      } else {
        char buffer[48];
        std::snprintf(buffer, sizeof buffer, "<object %p>", static_cast<const void*>(e.object));
        out += buffer;
      }
      break;
    }
  }
}

const char* operatorText(Predicate::Operator op) {
  switch (op) {
    case Predicate::Operator::Equal:
      return "==";
    case Predicate::Operator::NotEqual:
      return "!=";
    case Predicate::Operator::Less:
      return "<";
    case Predicate::Operator::LessOrEqual:
      return "<=";
    case Predicate::Operator::Greater:
      return ">";
    case Predicate::Operator::GreaterOrEqual:
      return ">=";
    case Predicate::Operator::In:
      return "IN";
    case Predicate::Operator::Like:
      return "LIKE";
    case Predicate::Operator::Contains:
      return "CONTAINS";
    case Predicate::Operator::BeginsWith:
      return "BEGINSWITH";
    case Predicate::Operator::EndsWith:
      return "ENDSWITH";
  }
  return "?";
}

void appendPredicate(std::string& out, const Predicate& p) {
  switch (p.kind()) {
    case Predicate::Kind::True:
      out += "TRUEPREDICATE";
      return;
    case Predicate::Kind::False:
      out += "FALSEPREDICATE";
      return;
    case Predicate::Kind::Comparison: {
      appendExpression(out, p.left());
      out += ' ';
      out += operatorText(p.comparisonOperator());
      const auto options = p.options();
      if (options.caseInsensitive || options.diacriticInsensitive) {
        out += '[';
        if (options.caseInsensitive) out += 'c';
        if (options.diacriticInsensitive) out += 'd';
        out += ']';
      }
      out += ' ';
      appendExpression(out, p.right());
      return;
    }
    case Predicate::Kind::Not: {
      out += "NOT ";
      const auto& inner = p.subpredicates().front();
      const bool wrap =
          inner.kind() != Predicate::Kind::True && inner.kind() != Predicate::Kind::False;
      if (wrap) out += '(';
      appendPredicate(out, inner);
      if (wrap) out += ')';
      return;
    }
    case Predicate::Kind::And:
    case Predicate::Kind::Or: {
      const auto& subs = p.subpredicates();
      const bool isAnd = p.kind() == Predicate::Kind::And;
      // An empty conjunction is true, an empty disjunction false.
      if (subs.empty()) {
        out += isAnd ? "TRUEPREDICATE" : "FALSEPREDICATE";
        return;
      }
      for (std::size_t i = 0; i < subs.size(); ++i) {
        if (i) out += isAnd ? " AND " : " OR ";
        const bool wrap =
            subs[i].kind() == Predicate::Kind::And || subs[i].kind() == Predicate::Kind::Or;
        if (wrap) out += '(';
        appendPredicate(out, subs[i]);
        if (wrap) out += ')';
      }
      return;
    }
  }
}

void collectKeyPaths(const Predicate& p, std::vector<std::string>& out,
                     std::unordered_set<std::string>& seen) {
  if (p.kind() == Predicate::Kind::Comparison) {
    for (const auto* e : {&p.left(), &p.right()}) {
      if (e->kind == PredicateExpression::Kind::KeyPath && seen.insert(e->keyPath).second) {
        out.push_back(e->keyPath);
      }
    }
    return;
  }
  for (const auto& sub : p.subpredicates()) collectKeyPaths(sub, out, seen);
}

}  // namespace

Predicate Predicate::truePredicate() {
  static const Predicate instance(std::make_shared<const Node>(Node{}));
  return instance;
}

Predicate Predicate::falsePredicate() {
  static const Predicate instance = [] {
    Node node;
    node.kind = Kind::False;
    return Predicate(std::make_shared<const Node>(std::move(node)));
  }();
  return instance;
}

Predicate Predicate::comparison(PredicateExpression left, Operator op, PredicateExpression right) {
  return comparison(std::move(left), op, std::move(right), Options{});
}

Predicate Predicate::comparison(PredicateExpression left, Operator op, PredicateExpression right,
                                Options options) {
  Node node;
  node.kind = Kind::Comparison;
  node.op = op;
  node.options = options;
  node.left = std::move(left);
  node.right = std::move(right);
  constexpr std::size_t kIndexedListSize = 16;
  if (op == Operator::In && node.right.kind == PredicateExpression::Kind::ConstantList &&
      node.right.list.size() > kIndexedListSize) {
    auto index = std::make_shared<std::unordered_set<Value, ValueHash>>();
    index->reserve(node.right.list.size());
    for (const Value& v : node.right.list)
      if (!v.isNull() && !(v.isDouble() && std::isnan(v.asDouble()))) index->insert(v);
    node.right.listIndex = std::move(index);
  }
  return Predicate(std::make_shared<const Node>(std::move(node)));
}

Predicate Predicate::keyEquals(std::string keyPath, Value value) {
  PredicateExpression left;
  left.kind = PredicateExpression::Kind::KeyPath;
  left.keyPath = std::move(keyPath);
  PredicateExpression right;
  right.constant = std::move(value);
  return comparison(std::move(left), Operator::Equal, std::move(right));
}

Predicate Predicate::andPredicate(std::vector<Predicate> subpredicates) {
  Node node;
  node.kind = Kind::And;
  node.depth = depthOf(subpredicates);
  if (node.depth > kMaxTreeDepth)
    throw PredicateError("Predicate nested too deeply", ErrorCode::NestingTooDeep);
  node.subpredicates = std::move(subpredicates);
  return Predicate(std::make_shared<const Node>(std::move(node)));
}

Predicate Predicate::orPredicate(std::vector<Predicate> subpredicates) {
  Node node;
  node.kind = Kind::Or;
  node.depth = depthOf(subpredicates);
  if (node.depth > kMaxTreeDepth)
    throw PredicateError("Predicate nested too deeply", ErrorCode::NestingTooDeep);
  node.subpredicates = std::move(subpredicates);
  return Predicate(std::make_shared<const Node>(std::move(node)));
}

Predicate Predicate::notPredicate(Predicate subpredicate) {
  Node node;
  node.kind = Kind::Not;
  node.depth = subpredicate.depth() + 1;
  if (node.depth > kMaxTreeDepth)
    throw PredicateError("Predicate nested too deeply", ErrorCode::NestingTooDeep);
  node.subpredicates.push_back(std::move(subpredicate));
  return Predicate(std::make_shared<const Node>(std::move(node)));
}

Predicate::Kind Predicate::kind() const {
  return node_->kind;
}
Predicate::Operator Predicate::comparisonOperator() const {
  return node_->op;
}
Predicate::Options Predicate::options() const {
  return node_->options;
}
const PredicateExpression& Predicate::left() const {
  return node_->left;
}
const PredicateExpression& Predicate::right() const {
  return node_->right;
}
const std::vector<Predicate>& Predicate::subpredicates() const {
  return node_->subpredicates;
}
int Predicate::depth() const {
  return node_->depth;
}

std::vector<std::string> Predicate::keyPaths() const {
  std::vector<std::string> out;
  std::unordered_set<std::string> seen;
  collectKeyPaths(*this, out, seen);
  return out;
}

std::string Predicate::format() const {
  std::string out;
  appendPredicate(out, *this);
  return out;
}

}  // namespace dm
