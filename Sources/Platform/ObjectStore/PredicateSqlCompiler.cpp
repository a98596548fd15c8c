// Compilation of a predicate into an SQL condition with bound parameters.
//
// Every compiled comparison yields 0 or 1, never NULL, so NOT, AND and OR keep the
// two-valued logic of in-memory evaluation. Columns are assumed to carry the affinity of
// their attribute type (INTEGER or REAL for numbers, booleans and dates; TEXT for texts);
// where a value of another kind meets a column, the column is wrapped as "+(column)",
// which drops its affinity so SQLite compares without converting, as evaluation does.
// Case-insensitive comparisons fold ASCII letters only; the diacritic option is accepted
// but does not change the comparison.
#include <sqlite3.h>

#include <cmath>
#include <cstdio>

#include "Platform/ObjectStore/Predicate.h"

namespace dm {
namespace {

using Op = Predicate::Operator;
using EK = PredicateExpression::Kind;

// Lists longer than this are bound as one JSON array, keeping far below SQLite's limit
// on the number of parameters in a statement.
constexpr std::size_t kMaxInlineListSize = 500;
// AND/OR chains longer than this are grouped as a balanced tree: SQLite refuses
// expression trees deeper than 1000 levels, and a flat chain is as deep as it is long.
constexpr std::size_t kMaxFlatChain = 8;

enum class ValueClass { Numeric, Text, Blob };

ValueClass classOf(AttributeType type) {
  switch (type) {
    case AttributeType::String:
      return ValueClass::Text;
    case AttributeType::Binary:
    case AttributeType::Dictionary:
    case AttributeType::List:
      return ValueClass::Blob;
    default:
      return ValueClass::Numeric;
  }
}

ValueClass classOf(const Value& v) {
  if (v.isString()) return ValueClass::Text;
  if (v.isBlob()) return ValueClass::Blob;
  return ValueClass::Numeric;
}

// NaN cannot be stored and binds as NULL; booleans bind as 0/1 and dates as seconds.
Value bindable(const Value& v) {
  if (v.isBool()) return Value(static_cast<long long>(v.asInt64()));
  if (v.isDate()) return Value(v.asDouble());
  if (v.isDouble() && std::isnan(v.asDouble())) return Value();
  return v;
}

std::string asciiLowercase(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

void appendJsonString(std::string& out, const std::string& text) {
  out += '"';
  for (unsigned char c : text) {
    if (c == '"' || c == '\\') {
      out += '\\';
      out += static_cast<char>(c);
    } else if (c < 0x20) {
      char buffer[8];
      std::snprintf(buffer, sizeof buffer, "\\u%04x", c);
      out += buffer;
    } else {
      out += static_cast<char>(c);
    }
  }
  out += '"';
}

// One side of a comparison as the compiler sees it.
struct Side {
  enum class Kind { Column, Value, Null, Object, List } kind = Kind::Null;
  std::string sql;                              // Column
  ValueClass valueClass = ValueClass::Numeric;  // Column, Value
  bool toOne = false;                           // Column holding a related row's key
  Value value;                                  // Value (bindable), Object (primary key)
  const ManagedObject* object = nullptr;        // Object
  const std::vector<Value>* list = nullptr;     // List

  bool isColumn() const { return kind == Kind::Column; }
  bool isObjectLike() const { return kind == Kind::Object || (isColumn() && toOne); }
};

class Compiler {
 public:
  explicit Compiler(PredicateSqlResolver& resolver) : resolver_(resolver) {}

  SqlCondition run(const Predicate& predicate) {
    SqlCondition condition;
    condition.sql = compile(predicate);
    condition.parameters = std::move(parameters_);
    return condition;
  }

 private:
  std::string bind(Value v) {
    parameters_.push_back(std::move(v));
    return "?";
  }

  // One more level of NOT/AND/OR groups for the scope of the object.
  struct Nesting {
    explicit Nesting(Compiler& compiler) : compiler_(compiler) {
      if (++compiler_.nesting_ > kMaxSqlNesting)
        throw SqlNestingError("Predicate groups nest deeper than the " +
                              std::to_string(kMaxSqlNesting) + " levels SQL conditions take");
    }
    ~Nesting() { --compiler_.nesting_; }
    Nesting(const Nesting&) = delete;
    Nesting& operator=(const Nesting&) = delete;
    Compiler& compiler_;
  };

  std::string compile(const Predicate& p) {
    switch (p.kind()) {
      case Predicate::Kind::True:
        return "1";
      case Predicate::Kind::False:
        return "0";
      case Predicate::Kind::Not: {
        Nesting nested(*this);
        return "(NOT " + compile(p.subpredicates().front()) + ")";
      }
      case Predicate::Kind::And:
        return chain(p.subpredicates(), 0, p.subpredicates().size(), " AND ", "1");
      case Predicate::Kind::Or:
        return chain(p.subpredicates(), 0, p.subpredicates().size(), " OR ", "0");
      case Predicate::Kind::Comparison:
        return comparison(p);
    }
    return "0";
  }

  std::string chain(const std::vector<Predicate>& subs, std::size_t begin, std::size_t end,
                    const char* joiner, const char* empty) {
    if (begin == end) return empty;
    Nesting nested(*this);
    std::string out = "(";
    if (end - begin <= kMaxFlatChain) {
      for (std::size_t i = begin; i < end; ++i) {
        if (i != begin) out += joiner;
        out += compile(subs[i]);
      }
    } else {
      const std::size_t middle = begin + (end - begin) / 2;
      out += chain(subs, begin, middle, joiner, empty);
      out += joiner;
      out += chain(subs, middle, end, joiner, empty);
    }
    return out + ")";
  }

  Side side(const PredicateExpression& e) {
    Side s;
    switch (e.kind) {
      case EK::KeyPath: {
        const auto column = resolver_.resolve(e.keyPath);
        s.kind = Side::Kind::Column;
        s.sql = column.sql;
        s.valueClass = classOf(column.type);
        s.toOne = column.isToOneRelationship;
        break;
      }
      case EK::Constant:
        s.value = bindable(e.constant);
        s.kind = s.value.isNull() ? Side::Kind::Null : Side::Kind::Value;
        s.valueClass = classOf(s.value);
        break;
      case EK::Object:
        if (e.object) {
          s.kind = Side::Kind::Object;
          s.object = e.object;
          s.value = bindable(resolver_.primaryKeyOf(e.object));
        }
        break;
      case EK::ConstantList:
        s.kind = Side::Kind::List;
        s.list = &e.list;
        break;
    }
    return s;
  }

  // The SQL operand for a side; a column compared with a value of another class loses its
  // affinity so that neither side is converted.
  std::string operand(const Side& s, bool keepAffinity) {
    if (s.isColumn()) return keepAffinity ? s.sql : "+(" + s.sql + ")";
    return bind(s.value);
  }

  static void rejectLists(const Side& a, const Side& b) {
    if (a.kind == Side::Kind::List || b.kind == Side::Kind::List) {
      throw PredicateError("A list is only allowed on the right side of IN");
    }
  }

  std::string comparison(const Predicate& p) {
    const Side a = side(p.left());
    const Side b = side(p.right());
    const bool caseInsensitive = p.options().caseInsensitive;
    switch (p.comparisonOperator()) {
      case Op::Equal:
        return equality(a, b, caseInsensitive);
      case Op::NotEqual:
        return "(NOT " + equality(a, b, caseInsensitive) + ")";
      case Op::Less:
        return ordering(a, "<", b);
      case Op::LessOrEqual:
        return ordering(a, "<=", b);
      case Op::Greater:
        return ordering(a, ">", b);
      case Op::GreaterOrEqual:
        return ordering(a, ">=", b);
      case Op::In:
        return membership(a, b);
      case Op::Like:
      case Op::Contains:
      case Op::BeginsWith:
      case Op::EndsWith:
        return textMatch(a, p.comparisonOperator(), b, caseInsensitive);
    }
    return "0";
  }

  std::string equality(const Side& a, const Side& b, bool caseInsensitive) {
    rejectLists(a, b);
    using K = Side::Kind;
    if (a.kind == K::Null && b.kind == K::Null) return "1";
    if (a.kind == K::Null || b.kind == K::Null) {
      const Side& other = a.kind == K::Null ? b : a;
      return other.isColumn() ? "(" + other.sql + " IS NULL)" : "0";
    }
    if (a.isObjectLike() && b.isObjectLike()) {
      if (a.kind == K::Object && b.kind == K::Object) return a.object == b.object ? "1" : "0";
      const std::string left = operand(a, true);
      return "(" + left + " IS " + operand(b, true) + ")";
    }
    if (a.isObjectLike() || b.isObjectLike()) {
      // An object never equals a plain value; only two NULLs meet.
      if (!a.isColumn() || !b.isColumn()) return "0";
      return "(" + a.sql + " IS NULL AND " + b.sql + " IS NULL)";
    }
    if (!a.isColumn() && !b.isColumn()) {
      if (caseInsensitive && a.value.isString() && b.value.isString()) {
        return asciiLowercase(a.value.asString()) == asciiLowercase(b.value.asString()) ? "1" : "0";
      }
      return a.value == b.value ? "1" : "0";
    }
    if (caseInsensitive) {
      if (a.isColumn() && b.isColumn()) {
        return "(CASE WHEN typeof(" + a.sql + ") = 'text' AND typeof(" + b.sql +
               ") = 'text' THEN lower(" + a.sql + ") = lower(" + b.sql + ") ELSE +(" + a.sql +
               ") IS +(" + b.sql + ") END)";
      }
      const Side& column = a.isColumn() ? a : b;
      const Side& constant = a.isColumn() ? b : a;
      if (constant.value.isString()) {
        return "(typeof(" + column.sql + ") = 'text' AND lower(" + column.sql +
               ") = " + bind(Value(asciiLowercase(constant.value.asString()))) + ")";
      }
    }
    const bool keep = a.valueClass == b.valueClass;
    const std::string left = operand(a, keep);
    return "(" + left + " IS " + operand(b, keep) + ")";
  }

  std::string ordering(const Side& a, const char* op, const Side& b) {
    rejectLists(a, b);
    using K = Side::Kind;
    if (a.kind == K::Null || b.kind == K::Null || a.isObjectLike() || b.isObjectLike()) {
      return "0";
    }
    if (!a.isColumn() && !b.isColumn()) {
      const int c = Value::compare(a.value, b.value);
      const std::string_view o(op);
      const bool result = o == "<" ? c < 0 : o == "<=" ? c <= 0 : o == ">" ? c > 0 : c >= 0;
      return result ? "1" : "0";
    }
    std::string out = "(";
    if (a.isColumn()) out += a.sql + " IS NOT NULL AND ";
    if (b.isColumn()) out += b.sql + " IS NOT NULL AND ";
    const bool keep = a.valueClass == b.valueClass;
    out += operand(a, keep);
    out += ' ';
    out += op;
    out += ' ';
    out += operand(b, keep);
    return out + ")";
  }

  std::string membership(const Side& a, const Side& b) {
    if (b.kind != Side::Kind::List) throw PredicateError("IN needs a list on its right side");
    if (a.kind == Side::Kind::List) {
      throw PredicateError("A list is only allowed on the right side of IN");
    }
    if (a.kind == Side::Kind::Null || a.isObjectLike()) return "0";
    std::vector<Value> values;
    values.reserve(b.list->size());
    bool sameClass = true;
    for (const auto& v : *b.list) {
      Value element = bindable(v);
      if (element.isNull()) continue;  // NULL is never a member
      if (!a.isColumn() && element == a.value) return "1";
      sameClass = sameClass && classOf(element) == a.valueClass;
      values.push_back(std::move(element));
    }
    if (values.empty() || !a.isColumn()) return "0";

    std::string out = "(" + a.sql + " IS NOT NULL AND " + operand(a, sameClass) + " IN (";
    if (values.size() <= kMaxInlineListSize) {
      for (std::size_t i = 0; i < values.size(); ++i) {
        if (i) out += ", ";
        out += bind(std::move(values[i]));
      }
      return out + "))";
    }
    return out + "SELECT value FROM json_each(" + bind(Value(jsonArray(values))) + ")))";
  }

  static std::string jsonArray(const std::vector<Value>& values) {
    std::string json = "[";
    for (std::size_t i = 0; i < values.size(); ++i) {
      if (i) json += ',';
      const Value& v = values[i];
      if (v.isInteger()) {
        json += std::to_string(v.asInt64());
      } else if (v.isDouble()) {
        const double d = v.asDouble();
        if (std::isinf(d)) {
          json += d > 0 ? "9e999" : "-9e999";  // read back as infinities
        } else {
          char buffer[40];
          std::snprintf(buffer, sizeof buffer, "%.17g", d);
          json += buffer;
        }
      } else if (v.isString()) {
        appendJsonString(json, v.asString());
      } else {
        throw PredicateError("A list of more than " + std::to_string(kMaxInlineListSize) +
                             " values cannot hold binary data");
      }
    }
    return json + "]";
  }

  std::string textMatch(const Side& a, Op op, const Side& b, bool caseInsensitive) {
    rejectLists(a, b);
    auto isText = [](const Side& s) { return s.kind == Side::Kind::Value && s.value.isString(); };
    if (!(a.isColumn() && !a.toOne) && !isText(a)) return "0";
    if (!(b.isColumn() && !b.toOne) && !isText(b)) return "0";

    std::string out = "(";
    if (a.isColumn()) out += "typeof(" + a.sql + ") = 'text' AND ";
    if (b.isColumn()) out += "typeof(" + b.sql + ") = 'text' AND ";
    auto folded = [&](const std::string& sql) {
      return caseInsensitive ? "lower(" + sql + ")" : sql;
    };
    const std::string text = a.isColumn() ? folded(a.sql) : bind(fold(a.value, caseInsensitive));
    // A bound pattern is bound once per use: every "?" takes its own parameter.
    auto pattern = [&] {
      return b.isColumn() ? folded(b.sql) : bind(fold(b.value, caseInsensitive));
    };
    // Bytes, not characters: SQLite's text functions stop at a NUL byte, blob ones do not.
    const std::string textBytes = "CAST(" + text + " AS BLOB)";
    auto patternBytes = [&] { return "CAST(" + pattern() + " AS BLOB)"; };
    switch (op) {
      case Op::Like:
        out += std::string(kPredicateLikeFunction) + "(" + text + ", " + pattern() + ")";
        break;
      case Op::Contains:
        out += "instr(" + textBytes + ", " + patternBytes() + ") > 0";
        break;
      // The first occurrence is at the start exactly when the text begins with it.
      case Op::BeginsWith:
        out += "instr(" + textBytes + ", " + patternBytes() + ") = 1";
        break;
      // Parameters bind in the order their "?" appear: the text comes first.
      default:
        out += "(substr(" + textBytes + ", -length(" + patternBytes() + ")) = ";
        out += patternBytes();
        out += " OR length(" + patternBytes() + ") = 0)";
        break;
    }
    return out + ")";
  }

  static Value fold(const Value& v, bool caseInsensitive) {
    return caseInsensitive ? Value(asciiLowercase(v.asString())) : v;
  }

  PredicateSqlResolver& resolver_;
  std::vector<Value> parameters_;
  int nesting_ = 0;  // NOT/AND/OR groups open at the current point
};

}  // namespace

SqlCondition compileToSql(const Predicate& predicate, PredicateSqlResolver& resolver) {
  return Compiler(resolver).run(predicate);
}

namespace {

void likeFunction(sqlite3_context* context, int, sqlite3_value** arguments) {
  if (sqlite3_value_type(arguments[0]) != SQLITE_TEXT ||
      sqlite3_value_type(arguments[1]) != SQLITE_TEXT) {
    sqlite3_result_int(context, 0);
    return;
  }
  // Pointer first, then length: the documented order for a value's text.
  const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(arguments[0]));
  const auto textLength = static_cast<std::size_t>(sqlite3_value_bytes(arguments[0]));
  const auto* pattern = reinterpret_cast<const char*>(sqlite3_value_text(arguments[1]));
  const auto patternLength = static_cast<std::size_t>(sqlite3_value_bytes(arguments[1]));
  if (!text || !pattern) {
    sqlite3_result_error_nomem(context);
    return;
  }
  sqlite3_result_int(context, predicateWildcardMatch(std::string_view(text, textLength),
                                                     std::string_view(pattern, patternLength))
                                  ? 1
                                  : 0);
}

}  // namespace

bool registerPredicateSqlFunctions(sqlite3* db) {
  return sqlite3_create_function_v2(db, kPredicateLikeFunction, 2,
                                    SQLITE_UTF8 | SQLITE_DETERMINISTIC | SQLITE_INNOCUOUS, nullptr,
                                    likeFunction, nullptr, nullptr, nullptr) == SQLITE_OK;
}

}  // namespace dm
