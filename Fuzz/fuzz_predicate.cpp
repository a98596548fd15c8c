// Parses the input as a filter format with a few arguments taken from its first bytes,
// compiles it to SQL over a fixed small key set and runs that SQL on a one-row table.
// The SQL must always prepare with exactly its bound parameters, and its answer must
// agree with evaluating the predicate in memory against the same row.
#include <sqlite3.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "Platform/ObjectStore/Predicate.h"

namespace {

struct Field {
  dm::AttributeType type;
  dm::Value value;
};

const std::map<std::string, Field>& row() {
  static const std::map<std::string, Field> fields = {
      {"name", {dm::AttributeType::String, dm::Value("Squat")}},
      {"title", {dm::AttributeType::String, dm::Value()}},
      {"count", {dm::AttributeType::Integer64, dm::Value(3)}},
      {"weight", {dm::AttributeType::Double, dm::Value(2.5)}},
      {"done", {dm::AttributeType::Boolean, dm::Value(true)}},
  };
  return fields;
}

class Resolver : public dm::PredicateSqlResolver {
 public:
  Column resolve(const std::string& keyPath) override {
    auto it = row().find(keyPath);
    if (it == row().end()) throw dm::PredicateError("unknown key " + keyPath);
    return {"t0.\"" + keyPath + "\"", it->second.type, false};
  }
  dm::Value primaryKeyOf(const dm::ManagedObject*) override {
    throw dm::PredicateError("no objects here");
  }
};

class Source : public dm::PredicateValueSource {
 public:
  Resolved valueForKeyPath(const std::string& keyPath) const override {
    auto it = row().find(keyPath);
    if (it == row().end()) throw dm::PredicateError("unknown key " + keyPath);
    return {it->second.value, nullptr};
  }
};

sqlite3* database() {
  static sqlite3* db = [] {
    sqlite3* handle = nullptr;
    sqlite3_open(":memory:", &handle);
    dm::registerPredicateSqlFunctions(handle);
    sqlite3_exec(handle,
                 "CREATE TABLE t0(name TEXT, title TEXT, count INTEGER, weight REAL, done INTEGER);"
                 "INSERT INTO t0 VALUES('Squat', NULL, 3, 2.5, 1);",
                 nullptr, nullptr, nullptr);
    return handle;
  }();
  return db;
}

void bind(sqlite3_stmt* statement, int index, const dm::Value& value) {
  if (value.isNull()) {
    sqlite3_bind_null(statement, index);
  } else if (value.isBool() || value.isInteger()) {
    sqlite3_bind_int64(statement, index, value.asInt64());
  } else if (value.isDouble() || value.isDate()) {
    sqlite3_bind_double(statement, index, value.asDouble());
  } else if (value.isString()) {
    const std::string& text = value.asString();
    sqlite3_bind_text(statement, index, text.data(), static_cast<int>(text.size()),
                      SQLITE_TRANSIENT);
  } else {
    const dm::Blob& blob = value.asBlob();
    sqlite3_bind_blob(statement, index, blob.data(), static_cast<int>(blob.size()),
                      SQLITE_TRANSIENT);
  }
}

// Arguments: the first byte says how many (0-3), each then takes a kind byte and, for
// scalars, one value byte.
std::vector<dm::PredicateArgument> takeArguments(const std::uint8_t*& data, std::size_t& size) {
  static const char* const texts[] = {"name", "Squat", "it's",  "a\"; DROP TABLE t0; --",
                                      "sq*",  "",      "count", "%@"};
  std::vector<dm::PredicateArgument> args;
  if (size == 0) return args;
  int count = data[0] % 4;
  ++data, --size;
  for (int i = 0; i < count && size >= 2; ++i) {
    std::uint8_t kind = data[0], byte = data[1];
    data += 2, size -= 2;
    switch (kind % 6) {
      case 0:
        args.emplace_back(dm::Value(static_cast<int>(byte) - 128));
        break;
      case 1:
        args.emplace_back(dm::Value(byte / 8.0));
        break;
      case 2:
        args.emplace_back(dm::Value(texts[byte % 8]));
        break;
      case 3:
        args.emplace_back(dm::Value());
        break;
      case 4:
        args.emplace_back(dm::Value(byte % 2 == 0));
        break;
      default:
        args.emplace_back(std::vector<dm::Value>{dm::Value(3), dm::Value(texts[byte % 8])});
    }
  }
  return args;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::vector<dm::PredicateArgument> args = takeArguments(data, size);
  std::string_view format(reinterpret_cast<const char*>(data), size);
  dm::Predicate predicate = dm::Predicate::truePredicate();
  try {
    predicate = dm::Predicate::parse(format, args);
  } catch (const dm::PredicateError&) {
    return 0;
  }
  (void)predicate.format();
  (void)predicate.keyPaths();

  Resolver resolver;
  dm::SqlCondition condition;
  try {
    condition = dm::compileToSql(predicate, resolver);
  } catch (const dm::PredicateError&) {
    // An unknown key, an object comparison or nesting deeper than SQL takes: refused before
    // any SQL exists (the store filters the last in memory).
    return 0;
  }
  bool inMemory = false;
  try {
    inMemory = dm::evaluate(predicate, Source());
  } catch (const dm::PredicateError&) {
    __builtin_trap();  // the compiler accepted what evaluation refuses
  }

  std::string sql = "SELECT count(*) FROM t0 WHERE " + condition.sql;
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(database(), sql.c_str(), -1, &statement, nullptr) != SQLITE_OK)
    __builtin_trap();  // compiled SQL that SQLite refuses
  if (sqlite3_bind_parameter_count(statement) != static_cast<int>(condition.parameters.size()))
    __builtin_trap();
  for (std::size_t i = 0; i < condition.parameters.size(); ++i)
    bind(statement, static_cast<int>(i + 1), condition.parameters[i]);
  if (sqlite3_step(statement) != SQLITE_ROW) __builtin_trap();
  bool inSql = sqlite3_column_int(statement, 0) == 1;
  sqlite3_finalize(statement);
  if (inSql != inMemory) __builtin_trap();
  return 0;
}
