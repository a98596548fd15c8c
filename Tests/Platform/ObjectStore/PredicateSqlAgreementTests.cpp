// The compiled SQL and in-memory evaluation must select the same rows: both run over the
// same data (NULLs, numbers of every kind, texts, booleans, dates, a joined parent row).
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <map>
#include <optional>

#include "Platform/ObjectStore/Predicate.h"
#include "Support/TempDir.h"

namespace dm {
namespace {

using Args = std::vector<PredicateArgument>;
using Ids = std::vector<std::int64_t>;

struct Parent {
  std::int64_t id;
  Value name;
  Value code;
};

struct Row {
  std::int64_t id;
  std::map<std::string, Value> values;  // i, d, s, b, dt, s2
  int parent = -1;                      // index into the parents, -1 for none
};

const ManagedObject* objectFor(const Parent& parent) {
  return reinterpret_cast<const ManagedObject*>(&parent);
}

class Fixture : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(sqlite3_open((dir_ / "t.sqlite").c_str(), &db_), SQLITE_OK);
    ASSERT_TRUE(registerPredicateSqlFunctions(db_));
    exec(
        "CREATE TABLE p (id INTEGER PRIMARY KEY, name TEXT, code INTEGER);"
        "CREATE TABLE t (id INTEGER PRIMARY KEY, i INTEGER, d REAL, s TEXT, b INTEGER, dt REAL,"
        " s2 TEXT, parent INTEGER REFERENCES p(id));");
    parents_ = {{1, "Alpha", 10}, {2, "beta", 20}, {3, Value(), Value()}};
    auto row = [&](std::int64_t id, Value i, Value d, Value s, Value b, Value dt, Value s2,
                   int parent) {
      rows_.push_back(
          {id, {{"i", i}, {"d", d}, {"s", s}, {"b", b}, {"dt", dt}, {"s2", s2}}, parent});
    };
    const Value null;
    row(1, 1, 1.5, "apple", true, Date(1000), "app", 0);
    row(2, 2, 2.0, "Banana", false, Date(2000.5), "ANA", 1);
    row(3, null, null, null, null, null, null, -1);
    row(4, -5, -0.5, "x'; DROP TABLE t; --", true, Date(-100), "DROP", 2);
    row(5, 0, 0.0, "", false, Date(0), "", -1);
    row(6, 9223372036854775807LL, 1e300, "a*b?c[d]", null, Date(1e9), "*", 0);
    row(7, 3, 3.0, "deleted", true, null, "del", 1);
    row(8, 2, 2.5, "\xC3\x84pfel\xC3\x9C", false, Date(1500), "\xC3\xA4pfel", 0);
    row(9, 10, null, "100%_done", true, null, "%", -1);
    row(10, 1, 1.0, "APPLE", null, null, "apple", -1);

    exec("BEGIN");
    for (const auto& p : parents_) {
      run("INSERT INTO p VALUES (?, ?, ?)", {Value(static_cast<long long>(p.id)), p.name, p.code});
    }
    for (const auto& r : rows_) {
      const auto& v = r.values;
      run("INSERT INTO t VALUES (?, ?, ?, ?, ?, ?, ?, ?)",
          {Value(static_cast<long long>(r.id)), v.at("i"), v.at("d"), v.at("s"), v.at("b"),
           v.at("dt"), v.at("s2"),
           r.parent < 0 ? Value() : Value(static_cast<long long>(parents_[r.parent].id))});
    }
    exec("COMMIT");
  }

  void TearDown() override { sqlite3_close(db_); }

  void exec(const char* sql) {
    char* error = nullptr;
    ASSERT_EQ(sqlite3_exec(db_, sql, nullptr, nullptr, &error), SQLITE_OK) << error;
  }

  // Runs a statement with bound values; returns the first column of every result row.
  Ids run(const std::string& sql, const std::vector<Value>& values) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(db_, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
      ADD_FAILURE() << sqlite3_errmsg(db_) << " in " << sql.substr(0, 500);
      return {};
    }
    int index = 1;
    for (const auto& v : values) {
      if (v.isNull()) {
        sqlite3_bind_null(statement, index);
      } else if (v.isBool() || v.isInteger()) {
        sqlite3_bind_int64(statement, index, v.asInt64());
      } else if (v.isDouble() || v.isDate()) {
        sqlite3_bind_double(statement, index, v.asDouble());
      } else if (v.isString()) {
        sqlite3_bind_text(statement, index, v.asString().data(),
                          static_cast<int>(v.asString().size()), SQLITE_TRANSIENT);
      } else {
        sqlite3_bind_blob(statement, index, v.asBlob().data(), static_cast<int>(v.asBlob().size()),
                          SQLITE_TRANSIENT);
      }
      ++index;
    }
    Ids ids;
    int status;
    while ((status = sqlite3_step(statement)) == SQLITE_ROW) {
      ids.push_back(sqlite3_column_int64(statement, 0));
    }
    EXPECT_EQ(status, SQLITE_DONE) << sqlite3_errmsg(db_);
    sqlite3_finalize(statement);
    return ids;
  }

  class Resolver : public PredicateSqlResolver {
   public:
    explicit Resolver(const std::vector<Parent>& parents) : parents_(parents) {}
    Column resolve(const std::string& keyPath) override {
      static const std::map<std::string, Column> kColumns = {
          {"entityID", {"t.id", AttributeType::Integer64}},
          {"i", {"t.i", AttributeType::Integer64}},
          {"d", {"t.d", AttributeType::Double}},
          {"s", {"t.s", AttributeType::String}},
          {"s2", {"t.s2", AttributeType::String}},
          {"b", {"t.b", AttributeType::Boolean}},
          {"dt", {"t.dt", AttributeType::Date}},
          {"parent", {"t.parent", AttributeType::Integer64, true}},
          {"parent.entityID", {"p.id", AttributeType::Integer64}},
          {"parent.name", {"p.name", AttributeType::String}},
          {"parent.code", {"p.code", AttributeType::Integer32}},
      };
      const auto found = kColumns.find(keyPath);
      if (found == kColumns.end()) throw PredicateError("Unknown key \"" + keyPath + "\"");
      return found->second;
    }
    Value primaryKeyOf(const ManagedObject* object) override {
      for (const auto& p : parents_) {
        if (objectFor(p) == object) return Value(static_cast<long long>(p.id));
      }
      throw PredicateError("Object without a row");
    }

   private:
    const std::vector<Parent>& parents_;
  };

  class Source : public PredicateValueSource {
   public:
    Source(const Row& row, const std::vector<Parent>& parents) : row_(row), parents_(parents) {}
    Resolved valueForKeyPath(const std::string& keyPath) const override {
      const Parent* parent = row_.parent < 0 ? nullptr : &parents_[row_.parent];
      if (keyPath == "entityID") return {Value(static_cast<long long>(row_.id))};
      if (keyPath == "parent") return {Value(), parent ? objectFor(*parent) : nullptr};
      if (keyPath == "parent.entityID") {
        return {parent ? Value(static_cast<long long>(parent->id)) : Value()};
      }
      if (keyPath == "parent.name") return {parent ? parent->name : Value()};
      if (keyPath == "parent.code") return {parent ? parent->code : Value()};
      const auto found = row_.values.find(keyPath);
      if (found == row_.values.end()) throw PredicateError("Unknown key \"" + keyPath + "\"");
      return {found->second};
    }

   private:
    const Row& row_;
    const std::vector<Parent>& parents_;
  };

  Ids selectWithSql(const Predicate& predicate) {
    Resolver resolver(parents_);
    const SqlCondition condition = compileToSql(predicate, resolver);
    return run("SELECT t.id FROM t LEFT JOIN p ON p.id = t.parent WHERE " + condition.sql +
                   " ORDER BY t.id",
               condition.parameters);
  }

  Ids selectInMemory(const Predicate& predicate) {
    Ids ids;
    for (const auto& row : rows_) {
      if (evaluate(predicate, Source(row, parents_))) ids.push_back(row.id);
    }
    return ids;
  }

  // Both ways must agree; returns the rows they chose.
  Ids select(const std::string& format, const Args& args = {}) {
    const Predicate predicate = Predicate::parse(format, args);
    const Ids fromSql = selectWithSql(predicate);
    EXPECT_EQ(fromSql, selectInMemory(predicate)) << format;
    return fromSql;
  }

  test::TempDir dir_;
  sqlite3* db_ = nullptr;
  std::vector<Parent> parents_;
  std::vector<Row> rows_;
};

using PredicateSqlAgreementTest = Fixture;

TEST_F(PredicateSqlAgreementTest, SqlAndEvaluationSelectTheSameRows) {
  const auto* alpha = objectFor(parents_[0]);
  const auto* noObject = static_cast<const ManagedObject*>(nullptr);
  const std::vector<Value> many = {1, 2, 3, 5.0, "x", Value()};
  const Ids all = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
  struct Case {
    std::string format;
    Args args;
    std::optional<Ids> expected;
  };
  const std::vector<Case> cases = {
      // The filters the data layer uses.
      {"s = NULL OR s != %@", {Value("deleted")}, Ids{1, 2, 3, 4, 5, 6, 8, 9, 10}},
      {"not %K in %@", {Value("entityID"), std::vector<Value>{1, 2, 3}}, Ids{4, 5, 6, 7, 8, 9, 10}},
      {"%K == %@ && %K > %@ && %K < %@",
       {Value("i"), Value(2), Value("dt"), Value(Date(1000)), Value("dt"), Value(Date(3000))},
       Ids{2, 8}},
      {"(%K != %@) AND (d != 0) AND (b == YES)", {Value("i"), Value(3)}, Ids{1, 4, 9}},
      {"%K like %@", {Value("s"), Value("a*")}, Ids{1, 6}},
      {"parent.name = %@ AND (i > 0 OR d < 0)", {Value("Alpha")}, Ids{1, 6, 8}},
      {"%K != %@ && b != YES", {Value("s"), Value("deleted")}, Ids{2, 3, 5, 6, 8, 10}},
      {"entityID IN %@", {std::vector<Value>{1, 5, 99}}, Ids{1, 5}},
      // NULL on either side, and under NOT.
      {"i = NULL", {}, Ids{3}},
      {"i != nil", {}, Ids{1, 2, 4, 5, 6, 7, 8, 9, 10}},
      {"i != 1", {}, Ids{2, 3, 4, 5, 6, 7, 8, 9}},
      {"i < 2", {}, Ids{1, 4, 5, 10}},
      {"NOT (i < 2)", {}, Ids{2, 3, 6, 7, 8, 9}},
      {"NOT (i = 1 OR s CONTAINS 'a')", {}, Ids{3, 4, 5, 7, 8, 9}},
      {"i < NULL OR NULL >= d", {}, Ids{}},
      {"i IN {1, 2, NULL}", {}, Ids{1, 2, 8, 10}},
      {"NOT i IN {1, NULL}", {}, Ids{2, 3, 4, 5, 6, 7, 8, 9}},
      {"i IN {}", {}, Ids{}},
      {"NOT i IN {}", {}, all},
      {"dt = NULL OR dt < 1", {}, Ids{3, 4, 5, 7, 9, 10}},
      // Numbers of every kind compare by value.
      {"i >= 2.5", {}, Ids{6, 7, 9}},
      {"d = 2", {}, Ids{2}},
      {"i = 1.0 AND d IN {1.5, 1}", {}, Ids{1, 10}},
      {"i >= 9223372036854775808.0", {}, Ids{}},
      {"i = 9223372036854775807 AND i > 9.2233720368547e18", {}, Ids{6}},
      {"b == YES", {}, Ids{1, 4, 7, 9}},
      {"b = 0", {}, Ids{2, 5, 8}},
      {"b != YES", {}, Ids{2, 3, 5, 6, 8, 10}},
      {"dt > %@", {Value(Date(1000))}, Ids{2, 6, 8}},
      {"dt <= 0", {}, Ids{4, 5}},
      {"i < d", {}, Ids{1, 4, 6, 8}},
      {"%@ = i", {Value(1)}, Ids{1, 10}},
      // Kinds that differ never convert: texts sort after numbers.
      {"i = '1' OR s = 1", {}, Ids{}},
      {"s > 5", {}, Ids{1, 2, 4, 5, 6, 7, 8, 9, 10}},
      {"i < 'a'", {}, Ids{1, 2, 4, 5, 6, 7, 8, 9, 10}},
      {"i IN {'1', 2}", {}, Ids{2, 8}},
      {"i IN %@", {many}, Ids{1, 2, 7, 8, 10}},
      // Text matching, wildcards and characters special to SQL.
      {"s CONTAINS %@", {Value("an")}, Ids{2}},
      {"s CONTAINS[c] 'AN'", {}, Ids{2}},
      {"s BEGINSWITH[c] 'app'", {}, Ids{1, 10}},
      {"s ENDSWITH 'e' OR s ENDSWITH[cd] 'NA'", {}, Ids{1, 2, 9}},
      {"s LIKE '*[d]'", {}, Ids{6}},
      {"s LIKE 'a?b*'", {}, Ids{6}},
      {"s LIKE[c] '?pple'", {}, Ids{1, 10}},
      {"s CONTAINS '%' OR s CONTAINS '_'", {}, Ids{9}},
      {"s CONTAINS '*' OR s BEGINSWITH '?'", {}, Ids{6}},
      {"s LIKE '100%_done' AND s LIKE '*%*'", {}, Ids{9}},
      {"s LIKE '?pfel?'", {}, Ids{8}},
      {"s BEGINSWITH[c] '\xC3\xA4pfel'", {}, Ids{}},
      {"s = ''", {}, Ids{5}},
      {"s CONTAINS ''", {}, Ids{1, 2, 4, 5, 6, 7, 8, 9, 10}},
      {"i CONTAINS '1' OR s LIKE 5", {}, Ids{}},
      {"s ==[c] 'apple'", {}, Ids{1, 10}},
      {"s !=[c] 'apple'", {}, Ids{2, 3, 4, 5, 6, 7, 8, 9}},
      // Two key paths.
      {"s2 = s", {}, Ids{3, 5}},
      {"s ==[c] s2", {}, Ids{3, 5, 10}},
      {"s CONTAINS s2", {}, Ids{1, 4, 5, 6, 7, 9}},
      {"s CONTAINS[c] s2", {}, std::nullopt},
      {"s BEGINSWITH s2 OR s ENDSWITH[c] s2", {}, std::nullopt},
      {"s LIKE s2 OR s LIKE[c] s2", {}, std::nullopt},
      {"s2 LIKE s", {}, std::nullopt},
      {"i = d OR parent = i", {}, std::nullopt},
      // To-one relationships and the joined row.
      {"parent = %@", {alpha}, Ids{1, 6, 8}},
      {"parent != %@", {alpha}, Ids{2, 3, 4, 5, 7, 9, 10}},
      {"parent = NULL", {}, Ids{3, 5, 9, 10}},
      {"parent = %@", {noObject}, Ids{3, 5, 9, 10}},
      {"parent = 1 OR parent > %@ OR parent CONTAINS 'a'", {alpha}, Ids{}},
      {"parent.code > 15", {}, Ids{2, 7}},
      {"parent.name = NULL", {}, Ids{3, 4, 5, 9, 10}},
      {"parent.entityID IN {2, 3}", {}, Ids{2, 4, 7}},
      {"TRUEPREDICATE AND NOT FALSEPREDICATE", {}, all},
      {"FALSEPREDICATE OR 1 = 2 OR 'a' > 'b'", {}, Ids{}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.format);
    const Ids selected = select(c.format, c.args);
    if (c.expected) {
      EXPECT_EQ(selected, *c.expected);
    }
  }
}

TEST_F(PredicateSqlAgreementTest, ValuesAreBoundNeverSpliced) {
  const std::string hostile = "x'; DROP TABLE t; --";
  const Predicate p = Predicate::parse("s = %@ OR s CONTAINS %@ OR s IN %@",
                                       {Value(hostile), Value("'; DELETE FROM t; --\""),
                                        std::vector<Value>{Value("\"); DROP TABLE p; --")}});
  Resolver resolver(parents_);
  const SqlCondition condition = compileToSql(p, resolver);
  EXPECT_EQ(condition.sql.find("DROP"), std::string::npos) << condition.sql;
  EXPECT_EQ(condition.sql.find('\''), condition.sql.find("'text'")) << condition.sql;
  EXPECT_EQ(select("s = %@", {Value(hostile)}), Ids{4});
  EXPECT_EQ(select("s LIKE %@", {Value("*DROP TABLE*")}), Ids{4});
  EXPECT_EQ(run("SELECT count(*) FROM t", {}), Ids{10});
  EXPECT_EQ(run("SELECT count(*) FROM p", {}), Ids{3});
}

TEST_F(PredicateSqlAgreementTest, TextsWithNulBytesCompareAsBytes) {
  const auto bytes = [](const char* text, std::size_t size) {
    return Value(std::string(text, size));
  };
  const Value text = bytes("ab\0cd", 5);
  const Value other = bytes("\0c", 2);
  rows_.push_back({11,
                   {{"i", Value()}, {"d", Value()}, {"s", text}, {"b", Value()},
                    {"dt", Value()}, {"s2", other}},
                   -1});
  run("INSERT INTO t (id, s, s2) VALUES (?, ?, ?)", {Value(11LL), text, other});

  EXPECT_EQ(select("s CONTAINS %@", {other}), Ids{11});
  EXPECT_EQ(select("s BEGINSWITH %@", {bytes("ab\0", 3)}), Ids{11});
  EXPECT_EQ(select("s ENDSWITH[c] %@", {bytes("\0CD", 3)}), Ids{11});
  EXPECT_EQ(select("s LIKE %@", {bytes("ab\0?d", 5)}), Ids{11});
  // The NUL does not end the text: "ab" alone is neither equal nor a LIKE match.
  EXPECT_EQ(select("s LIKE 'ab' OR s = 'ab'"), Ids{});
  EXPECT_EQ(select("s LIKE 'ab*'"), Ids{11});
  EXPECT_EQ(select("s CONTAINS s2"), (Ids{1, 4, 5, 6, 7, 9, 11}));
  // A bound text beside a bound pattern used several times: parameters stay in order.
  EXPECT_EQ(select("%@ ENDSWITH s2 AND s ENDSWITH %@", {Value("xxapp"), Value("e")}), Ids{1});
  EXPECT_EQ(select("s ENDSWITH %@ AND s2 = %@", {Value(""), Value("")}), Ids{5});
}

TEST_F(PredicateSqlAgreementTest, UnknownKeysAreRejectedByTheResolver) {
  const Predicate p = Predicate::parse("%K = 1", {Value("nosuchKey")});
  Resolver resolver(parents_);
  EXPECT_THROW(compileToSql(p, resolver), PredicateError);
  EXPECT_THROW(evaluate(p, Source(rows_[0], parents_)), PredicateError);
  EXPECT_THROW(compileToSql(Predicate::parse("parent.missing = 1"), resolver), PredicateError);
}

TEST_F(PredicateSqlAgreementTest, HugeInListsBindOneParameter) {
  std::vector<Value> numbers;
  for (int n = 100'000; n > 0; --n)
    numbers.emplace_back(static_cast<long long>(n) * 3);  // 3 and 9 are in
  numbers.emplace_back(9223372036854775807LL);
  numbers.emplace_back(-0.5);
  numbers.emplace_back(1e300 * 10);  // infinity
  const Predicate p = Predicate::parse("i IN %@ OR d IN %@", {numbers, numbers});
  Resolver resolver(parents_);
  EXPECT_EQ(compileToSql(p, resolver).parameters.size(), 2u);
  EXPECT_EQ(select("i IN %@ OR d IN %@", {numbers, numbers}), (Ids{4, 6, 7}));
  EXPECT_EQ(select("NOT entityID IN %@", {numbers}), (Ids{1, 2, 4, 5, 7, 8, 10}));

  std::vector<Value> texts;
  for (int n = 0; n < 100'000; ++n) texts.emplace_back(std::string("text ") + std::to_string(n));
  texts.emplace_back("x'; DROP TABLE t; --");
  texts.emplace_back("quote \" backslash \\ newline \n tab \t \x01");
  texts.emplace_back(
      static_cast<long long>(1));  // mixed kinds: the number must not match the text column
  texts.emplace_back("\xC3\x84pfel\xC3\x9C");
  EXPECT_EQ(select("s IN %@ OR i IN %@", {texts, texts}), (Ids{1, 4, 8, 10}));
}

}  // namespace
}  // namespace dm
