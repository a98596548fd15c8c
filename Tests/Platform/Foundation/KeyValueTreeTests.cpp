// The key-value tree helpers: null removal, leaf transforms, code tables, first text.
#include <gtest/gtest.h>

#include "Platform/Foundation/KeyValueTree.h"

namespace dm {
namespace {

using nlohmann::json;

TEST(KeyValueTreeTest, IdentityMapping) {
  EXPECT_EQ(KeyValueTree::identityMapping({"entityID", "name", "name"}),
            json({{"entityID", "entityID"}, {"name", "name"}}));
  EXPECT_TRUE(KeyValueTree::identityMapping({}).is_object());
}

TEST(KeyValueTreeTest, RemovingNullsReachesEveryLevel) {
  const json tree = json::parse(R"({
    "a": null, "b": 0, "c": "", "d": false,
    "list": [null, 1, [null, {"x": null, "y": [null]}], null],
    "nested": {"deeper": {"gone": null, "kept": {}}}
  })");
  EXPECT_EQ(KeyValueTree::removingNulls(tree), json::parse(R"({
    "b": 0, "c": "", "d": false,
    "list": [1, [{"y": []}]],
    "nested": {"deeper": {"kept": {}}}
  })"));
  EXPECT_EQ(KeyValueTree::removingNulls(json::array({nullptr, nullptr})), json::array());
  EXPECT_TRUE(KeyValueTree::removingNulls(json()).is_null());
}

TEST(KeyValueTreeTest, TransformingValuesVisitsLeavesOnly) {
  const json tree = json::parse(R"({"a": 1, "b": [2, {"c": 3}, []], "d": null, "e": {}})");
  int calls = 0;
  auto result = KeyValueTree::transformingValues(tree, [&calls](const json& leaf) {
    ++calls;
    return leaf.is_number() ? json(leaf.get<int>() * 10) : json("leaf");
  });
  EXPECT_EQ(result, json::parse(R"({"a": 10, "b": [20, {"c": 30}, []], "d": "leaf", "e": {}})"));
  EXPECT_EQ(calls, 4);
}

TEST(KeyValueTreeTest, CodeTablesInEitherShapeAndUnknowns) {
  const json byCode = {{"male", 1}, {"female", 2}, {"na", 0}};
  const json byValue = {{"1", "male"}, {"2", "female"}, {"0", "na"}};
  for (const auto& table : {byCode, byValue}) {
    EXPECT_EQ(KeyValueTree::valueForCode(table, "female"), 2);
    EXPECT_EQ(KeyValueTree::valueForCode(table, "na"), 0);
    EXPECT_EQ(KeyValueTree::codeForValue(table, 1), "male");
    EXPECT_EQ(KeyValueTree::codeForValue(table, 0), "na");
    EXPECT_EQ(KeyValueTree::valueForCode(table, "unknown"), kUnknownCodeValue);
    EXPECT_EQ(KeyValueTree::valueForCode(table, ""), kUnknownCodeValue);
    EXPECT_EQ(KeyValueTree::codeForValue(table, 7), "");
  }
  EXPECT_EQ(KeyValueTree::valueForCode(json::array({"male"}), "male"), kUnknownCodeValue);
  EXPECT_EQ(KeyValueTree::codeForValue(json(), 1), "");
  // A code whose entry is not a whole number is not a match.
  EXPECT_EQ(KeyValueTree::valueForCode({{"half", 0.5}}, "half"), kUnknownCodeValue);
}

TEST(KeyValueTreeTest, FirstTextIsDepthFirst) {
  EXPECT_EQ(KeyValueTree::firstText(json::parse(R"([1, [[null, {"a": [2, "deep"]}], "later"]])")),
            "deep");
  EXPECT_EQ(
      KeyValueTree::firstText(json::parse(R"({"a": {"x": 1}, "b": ["second"], "c": "third"})")),
      "second");
  EXPECT_EQ(KeyValueTree::firstText(json("root")), "root");
  EXPECT_EQ(KeyValueTree::firstText(json::parse(R"({"a": [1, 2, {"b": null}], "c": []})")),
            std::nullopt);
}

}  // namespace
}  // namespace dm
