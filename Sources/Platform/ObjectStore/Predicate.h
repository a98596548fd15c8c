// Filter conditions for fetches: parsed from the format-string language the data layer
// uses ("entityStatusString = NULL OR entityStatusString != %@", "not %K in %@", ...) or
// built in code, then compiled to SQL with bound parameters or evaluated in memory.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <unordered_set>
#include <string_view>
#include <variant>
#include <vector>

#include "Platform/Foundation/Error.h"
#include "Platform/ObjectStore/ObjectID.h"
#include "Platform/ObjectStore/Value.h"

struct sqlite3;

namespace dm {

class ManagedObject;

// An argument substituted for %@ (a value, a list for IN, or a stored object compared
// with a to-one relationship) or for %K (a key path given as text).
using PredicateArgument = std::variant<Value, std::vector<Value>, const ManagedObject*>;

// A malformed format, a wrong argument or an unknown key (InvalidPredicate), or a predicate
// nested deeper than a tree may be (NestingTooDeep). what() names the format and the
// position or key involved.
class PredicateError : public Error {
 public:
  explicit PredicateError(const std::string& message, ErrorCode code = ErrorCode::InvalidPredicate)
      : Error(code, message) {}
};

// A valid predicate nested too deeply to run as SQL; it can still be evaluated in memory.
class SqlNestingError : public PredicateError {
 public:
  explicit SqlNestingError(const std::string& message)
      : PredicateError(message, ErrorCode::NestingTooDeep) {}
};

// One side of a comparison.
struct PredicateExpression {
  enum class Kind { KeyPath, Constant, ConstantList, Object };
  Kind kind = Kind::Constant;
  std::string keyPath;      // KeyPath: dotted path, e.g. "trainingDay.cource.entityID"
  Value constant;           // Constant
  std::vector<Value> list;  // ConstantList
  // A long IN list's values hashed, so matching many objects in memory stays linear.
  std::shared_ptr<const std::unordered_set<Value, ValueHash>> listIndex;
  const ManagedObject* object = nullptr;  // Object
};

// Immutable predicate tree. Cheap to copy (shared nodes); safe to share between threads.
class Predicate {
 public:
  enum class Kind { True, False, Comparison, And, Or, Not };
  enum class Operator {
    Equal,
    NotEqual,
    Less,
    LessOrEqual,
    Greater,
    GreaterOrEqual,
    In,
    Like,
    Contains,
    BeginsWith,
    EndsWith,
  };
  // Comparison options, as in "name CONTAINS[cd] %@".
  struct Options {
    bool caseInsensitive = false;
    bool diacriticInsensitive = false;
  };

  // Parses a format. Throws PredicateError on a malformed format, too few or too many
  // arguments, or an argument of the wrong kind for its placeholder.
  static Predicate parse(std::string_view format, const std::vector<PredicateArgument>& args = {});

  static Predicate truePredicate();
  static Predicate falsePredicate();
  // A comparison without options. (An overload rather than a default argument: GCC cannot
  // default-construct a nested class with member initializers inside its enclosing class.)
  static Predicate comparison(PredicateExpression left, Operator op, PredicateExpression right);
  static Predicate comparison(PredicateExpression left, Operator op, PredicateExpression right,
                              Options options);
  static Predicate keyEquals(std::string keyPath, Value value);
  static Predicate andPredicate(std::vector<Predicate> subpredicates);
  static Predicate orPredicate(std::vector<Predicate> subpredicates);
  static Predicate notPredicate(Predicate subpredicate);

  Kind kind() const;
  Operator comparisonOperator() const;                  // Comparison only
  Options options() const;                              // Comparison only
  const PredicateExpression& left() const;              // Comparison only
  const PredicateExpression& right() const;             // Comparison only
  const std::vector<Predicate>& subpredicates() const;  // And, Or, Not
  // Levels of nesting: 1 for a comparison or a constant predicate. The builders throw
  // PredicateError above 1000 levels and parse() above 100 levels of parentheses and NOTs,
  // so walking a tree recursively is always safe.
  int depth() const;

  // Every key path the predicate reads, in order of appearance, without duplicates.
  std::vector<std::string> keyPaths() const;
  // The predicate as a format text (values printed as literals); for diagnostics.
  std::string format() const;

  struct Node;

 private:
  explicit Predicate(std::shared_ptr<const Node> node) : node_(std::move(node)) {}
  std::shared_ptr<const Node> node_;  // never null
};

// What the SQL compiler needs from the store: a column expression per key path.
class PredicateSqlResolver {
 public:
  virtual ~PredicateSqlResolver() = default;
  struct Column {
    std::string sql;  // an expression usable in WHERE, e.g. "t0.\"name\"" or "j1.\"entityID\""
    AttributeType type = AttributeType::String;
    bool isToOneRelationship = false;  // the column holds the related row's primary key
  };
  // Resolves a key path (adding any joins it needs). Throws PredicateError for a key
  // that is not in the model.
  virtual Column resolve(const std::string& keyPath) = 0;
  // The primary key of a stored object, for comparisons with a to-one relationship.
  // Throws PredicateError for an object that has no row yet.
  virtual Value primaryKeyOf(const ManagedObject* object) = 0;
};

// The compiled WHERE condition and its parameters, bound in order to "?" placeholders.
struct SqlCondition {
  std::string sql;
  std::vector<Value> parameters;
};

// Compiles a predicate. Values are always bound, never spliced into the text.
// Comparisons follow the in-memory evaluation's NULL semantics: "x = NULL" is
// "x IS NULL", "x != v" is true where x is NULL and v is not.
// Texts compare as byte strings in both forms: a NUL byte is an ordinary character.
// LIKE compiles to a call of the SQL function kPredicateLikeFunction, which every
// connection running compiled conditions must have (registerPredicateSqlFunctions).
// Throws SqlNestingError when the condition would nest NOT/AND/OR groups more than
// kMaxSqlNesting levels deep: SQLite's parser refuses conditions not much deeper, so callers
// evaluate those in memory instead.
SqlCondition compileToSql(const Predicate& predicate, PredicateSqlResolver& resolver);
inline constexpr int kMaxSqlNesting = 16;

inline constexpr const char* kPredicateLikeFunction = "dm_like";
// Registers the SQL functions compiled conditions call on `db`. Returns false (and leaves
// the connection usable for everything else) when SQLite refuses. Call on the connection's
// own thread.
bool registerPredicateSqlFunctions(sqlite3* db);

// The LIKE match of both forms: '*' matches any run of characters, '?' exactly one UTF-8
// character; everything else matches itself.
bool predicateWildcardMatch(std::string_view text, std::string_view pattern);

// What in-memory evaluation needs from an object: the value at a key path.
class PredicateValueSource {
 public:
  virtual ~PredicateValueSource() = default;
  struct Resolved {
    Value value;                            // attribute value (null when absent)
    const ManagedObject* object = nullptr;  // set when the key path ends at a to-one relationship
  };
  // Throws PredicateError for a key that is not in the model.
  virtual Resolved valueForKeyPath(const std::string& keyPath) const = 0;
};

bool evaluate(const Predicate& predicate, const PredicateValueSource& source);

}  // namespace dm
