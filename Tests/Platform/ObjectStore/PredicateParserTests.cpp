// Parsing of predicate formats: accepted forms, rejected forms with their positions, the
// printed form reading back to the same predicate, and hostile input.
#include <gtest/gtest.h>

#include <random>

#include "Platform/ObjectStore/Predicate.h"

namespace dm {
namespace {

using Args = std::vector<PredicateArgument>;

TEST(PredicateParserTest, AcceptsTheLanguageAndPrintsWhatReadsBack) {
  struct Case {
    const char* format;
    Args args;
    const char* printed;
  };
  const std::vector<Case> cases = {
      {"entityStatusString = NULL OR entityStatusString != %@",
       {Value("deleted")},
       "entityStatusString == NULL OR entityStatusString != \"deleted\""},
      {"not %K in %@", {Value("entityID"), std::vector<Value>{1, 2}}, "NOT (entityID IN {1, 2})"},
      {"%K == %@ && %K > %@ && %K < %@",
       {Value("a"), Value(1), Value("b"), Value(2.5), Value("b"), Value(Date(7))},
       "a == 1 AND b > 2.5 AND b < 7.0"},
      {"(%K != %@) AND (price != 0) AND (enabled == YES)",
       {Value("entityStatus"), Value(3)},
       "entityStatus != 3 AND price != 0 AND enabled == YES"},
      {"%K like %@", {Value("name"), Value("a*")}, "name LIKE \"a*\""},
      {"measurement.entityID = %@ AND (a = 1 OR b = 2)",
       {Value(7)},
       "measurement.entityID == 7 AND (a == 1 OR b == 2)"},
      {"%K = %@ AND %K != nil ",
       {Value("courseId"), Value(4), Value("startedAt")},
       "courseId == 4 AND startedAt != NULL"},
      {"a =< 1 || b => 2 or c <> 3", {}, "a <= 1 OR b >= 2 OR c != 3"},
      {"a = 1 OR b = 2 AND c = 3", {}, "a == 1 OR (b == 2 AND c == 3)"},
      {"!a = 1 AND NOT b = 2", {}, "NOT (a == 1) AND NOT (b == 2)"},
      {"name CONTAINS[cd] 'x' AND n BEGINSWITH[C] \"y\" AND n ENDSWITH[d] 'z'",
       {},
       "name CONTAINS[cd] \"x\" AND n BEGINSWITH[c] \"y\" AND n ENDSWITH[d] \"z\""},
      {"TRUEPREDICATE OR falsepredicate", {}, "TRUEPREDICATE OR FALSEPREDICATE"},
      {"a = -9223372036854775808 AND b = -1.5e3 AND c = .5",
       {},
       "a == -9223372036854775808 AND b == -1500.0 AND c == 0.5"},
      {"a = yes AND b = False AND c = Nil", {}, "a == YES AND b == NO AND c == NULL"},
      {"s = 'it\\'s \\\"q\\\" \\\\ \\n \\u00e9'", {}, "s == \"it's \\\"q\\\" \\\\ \\n \u00e9\""},
      {"%@ = x AND %d < y AND %f > z AND %ld = w",
       {Value(1), Value(2), Value(3.5), Value(4)},
       "1 == x AND 2 < y AND 3.5 > z AND 4 == w"},
      {"x IN {1, 'a', NULL}", {}, "x IN {1, \"a\", NULL}"},
      {"_x.y_2 = 1", {}, "_x.y_2 == 1"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.format);
    const Predicate p = Predicate::parse(c.format, c.args);
    EXPECT_EQ(p.format(), c.printed);
    EXPECT_EQ(Predicate::parse(p.format()).format(), p.format());
  }
}

TEST(PredicateParserTest, BuildsTheExpectedTree) {
  const Predicate p = Predicate::parse("not %K in %@", {Value("entityID"), std::vector<Value>{}});
  ASSERT_EQ(p.kind(), Predicate::Kind::Not);
  const Predicate& in = p.subpredicates().front();
  EXPECT_EQ(in.comparisonOperator(), Predicate::Operator::In);
  EXPECT_EQ(in.left().kind, PredicateExpression::Kind::KeyPath);
  EXPECT_EQ(in.left().keyPath, "entityID");
  EXPECT_EQ(in.right().kind, PredicateExpression::Kind::ConstantList);

  const Predicate r = Predicate::parse("3 >= x");  // the key path may stand on either side
  EXPECT_EQ(r.left().kind, PredicateExpression::Kind::Constant);
  EXPECT_EQ(r.right().keyPath, "x");

  const Predicate q = Predicate::parse("a = 1 AND (b = 2 OR a = 3) AND c.d CONTAINS[c] b");
  EXPECT_EQ(q.keyPaths(), (std::vector<std::string>{"a", "b", "c.d"}));
  EXPECT_TRUE(q.subpredicates()[2].options().caseInsensitive);
  EXPECT_FALSE(q.subpredicates()[2].options().diacriticInsensitive);
}

TEST(PredicateParserTest, ObjectArgumentsBecomeObjectsOrNull) {
  // Objects are only compared by identity, so any address stands in for one.
  const int storage = 0;
  const auto* object = reinterpret_cast<const ManagedObject*>(&storage);
  const Predicate p = Predicate::parse("day = %@", {PredicateArgument(object)});
  EXPECT_EQ(p.right().kind, PredicateExpression::Kind::Object);
  EXPECT_EQ(p.right().object, object);
  const Predicate none = Predicate::parse("day = %@", {static_cast<const ManagedObject*>(nullptr)});
  EXPECT_EQ(none.right().kind, PredicateExpression::Kind::Constant);
  EXPECT_TRUE(none.right().constant.isNull());
}

TEST(PredicateParserTest, RejectsMalformedFormatsNamingFormatAndPosition) {
  struct Case {
    const char* format;
    Args args;
    std::size_t position;
  };
  const std::vector<Case> cases = {
      {"", {}, 0},
      {"a = ", {}, 4},
      {"a 1", {}, 2},
      {"(a = 1", {}, 6},
      {"a = 1)", {}, 5},
      {"a = 1 AND", {}, 9},
      {"a = 'open", {}, 4},
      {"a = 1 & b = 2", {}, 6},
      {"a = 1 | b = 2", {}, 6},
      {"a. = 1", {}, 1},
      {"a = 12abc", {}, 4},
      {"a = 99999999999999999999", {}, 4},
      {"a = 'bad \\q escape'", {}, 9},
      {"a = %@", {}, 4},
      {"a = %@", {Value(1), Value(2)}, 6},
      {"%K = 1", {Value(5)}, 0},
      {"%K = 1", {Value("a; DROP TABLE t")}, 0},
      {"a IN %@", {Value(1)}, 5},
      {"a IN 'x'", {}, 5},
      {"%@ = a", {std::vector<Value>{1}}, 0},
      {"a = %@", {std::vector<Value>{1}}, 4},
      {"a < [c] 1", {}, 4},
      {"a <[c] 1", {}, 2},
      {"a =[x] 1", {}, 4},
      {"a = %d", {std::vector<Value>{1}}, 4},
      {"a = %z", {Value(1)}, 4},
      {"a = #", {}, 4},
      {"a = 1 b = 2", {}, 6},
      {"a = {1, b}", {}, 8},
      {"a IN {1, 2", {}, 10},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.format);
    try {
      Predicate::parse(c.format, c.args);
      ADD_FAILURE() << "accepted";
    } catch (const PredicateError& e) {
      const std::string message = e.what();
      EXPECT_NE(message.find(std::string("\"") + c.format + "\""), std::string::npos) << message;
      EXPECT_NE(message.find("at position " + std::to_string(c.position)), std::string::npos)
          << message;
    }
  }
}

TEST(PredicateParserTest, NestingIsCappedWithoutExhaustingTheStack) {
  auto nested = [](int levels) {
    return std::string(levels, '(') + "a = 1" + std::string(levels, ')');
  };
  EXPECT_NO_THROW(Predicate::parse(nested(100)));
  EXPECT_THROW(Predicate::parse(nested(101)), PredicateError);
  EXPECT_THROW(Predicate::parse(std::string(1'000'000, '(')), PredicateError);
  std::string nots;
  for (int i = 0; i < 100'000; ++i) nots += "NOT ";
  EXPECT_THROW(Predicate::parse(nots + "a = 1"), PredicateError);
  try {
    Predicate::parse(nested(101));
  } catch (const PredicateError& e) {
    EXPECT_NE(std::string(e.what()).find("nested deeper than 100"), std::string::npos);
  }

  // Long flat chains are not nesting.
  std::string chain = "a = 0";
  for (int i = 1; i < 20'000; ++i) chain += " OR a = " + std::to_string(i);
  EXPECT_EQ(Predicate::parse(chain).subpredicates().size(), 20'000u);

  Predicate built = Predicate::truePredicate();
  for (int i = 1; i < 1000; ++i) built = Predicate::notPredicate(built);
  EXPECT_EQ(built.depth(), 1000);
  EXPECT_THROW(Predicate::notPredicate(built), PredicateError);
  EXPECT_THROW(Predicate::andPredicate({built}), PredicateError);
}

TEST(PredicateParserTest, GarbageNeverCrashes) {
  const std::string alphabet = "aZ_.0129-=<>!&|()[]{}%@Kdcn'\"\\ ,*?#\x80\xff";
  std::mt19937 random(12345);
  for (int round = 0; round < 20'000; ++round) {
    std::string format;
    const int length = static_cast<int>(random() % 24);
    for (int i = 0; i < length; ++i) format += alphabet[random() % alphabet.size()];
    const Args args = {Value("k"), Value(1), std::vector<Value>{1}};
    try {
      const Predicate p = Predicate::parse(format, args);
      (void)p.format();
    } catch (const PredicateError&) {
    }
  }
}

}  // namespace
}  // namespace dm
