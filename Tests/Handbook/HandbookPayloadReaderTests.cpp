// Reading update text in windows: the elements and members read agree with a whole-tree
// parse, and text a tree parse refuses is refused as well.
#include <gtest/gtest.h>

#include "Handbook/Adapter/HandbookPayloadReader.h"

namespace dm {
namespace {

using nlohmann::json;

// Every array of the tree read back through the reader, in windows of every size up to 3.
void expectSameAsTree(const std::string& text) {
  SCOPED_TRACE(text);
  json tree = json::parse(text);
  HandbookPayloadReader reader(text);
  ASSERT_TRUE(reader.open());
  std::vector<handbook_dict::Node> window;
  for (const auto& [key, value] : tree.items()) {
    if (!value.is_array()) {
      EXPECT_EQ(reader.elementCount(key), 0u) << key;
      EXPECT_EQ(reader.header({key}).find(key).toTree(), value) << key;
      continue;
    }
    ASSERT_EQ(reader.elementCount(key), value.size()) << key;
    for (std::size_t size = 1; size <= 3; ++size)
      for (std::size_t first = 0; first < value.size(); first += size) {
        std::size_t n = std::min(size, value.size() - first);
        ASSERT_TRUE(reader.elements(key, first, n, window));
        ASSERT_EQ(window.size(), n);
        for (std::size_t i = 0; i < n; ++i) EXPECT_EQ(window[i].toTree(), value[first + i]);
      }
  }
}

TEST(HandbookPayloadReaderTest, ElementsAndMembersMatchTheTree) {
  expectSameAsTree(R"({})");
  expectSameAsTree(R"( {"status" : "changed" , "version":3, "post_products" : [ ] } )");
  // Brackets, braces, commas and escaped quotes inside strings; nested values; scalars.
  expectSameAsTree(R"({"post_products":[{"id":1,"title":"a \"[quoted]\" {b}, c\\","ingredients":)"
                   R"([{"post_product_id":2,"weight":1.5e2}]},{"id":2,"title":"x\\\\"},7,"s",null,)"
                   R"(true,[1,[2,[3]]]],"version":-12,"flag":false,"nothing":null})");
  // Repeated keys: the last one counts, as in the tree.
  expectSameAsTree(R"({"categories":[{"id":1}],"categories":[{"id":2},{"id":3}],"status":"a",)"
                   R"("status":"b"})");
  // An escaped key names the same member as its plain spelling.
  std::string escaped = R"({"post\u005fproducts":[{"id":5}],"st\u0061tus":"changed"})";
  HandbookPayloadReader reader(escaped);
  ASSERT_TRUE(reader.open());
  EXPECT_EQ(reader.elementCount("post_products"), 1u);
  EXPECT_EQ(reader.header({"status"}).find("status").string(), "changed");
}

TEST(HandbookPayloadReaderTest, RefusesWhatTheTreeRefuses) {
  const char* broken[] = {
      "",
      "   ",
      "[1,2]",
      "\"text\"",
      R"({"status":"changed","post_products":[)",
      R"({"post_products":[{"id":1},]})",
      R"({"post_products":[,{"id":1}]})",
      R"({"post_products":[{"id":1} {"id":2}]})",
      R"({"post_products":[{"id":1}]]})",
      R"({"post_products":[{"id":}]})",
      R"({"post_products":[{"id":1]})",
      R"({"status" "changed"})",
      R"({"status":"changed",})",
      R"({"status":"changed"} trailing)",
      R"({"status":"unterminated})",
      R"({"status":tru})",
      R"({"version":01})",
      R"({"title":"bad \x escape"})",
      "{\"title\":\"\xff\xfe\"}",
      "{\"\xff\":1}",
  };
  for (const char* text : broken) {
    SCOPED_TRACE(text);
    EXPECT_TRUE(json::parse(text, nullptr, false).is_discarded() ||
                !json::parse(text, nullptr, false).is_object());
    HandbookPayloadReader reader(text);
    EXPECT_FALSE(reader.open());
    EXPECT_EQ(reader.elementCount("post_products"), 0u);
  }
  // Wider than 64 bits: the tree takes it, this reader leaves it to the tree.
  HandbookPayloadReader wide(R"({"extra":123456789012345678901234567890,"post_products":[]})");
  EXPECT_FALSE(wide.open());
}

TEST(HandbookPayloadReaderTest, LocatedTextIsCheckedAsItIsRead) {
  std::string text =
      R"({"post_products":[{"id":1},{"id":tru},{"id":3}],"status":"changed","extra":[1]})";
  HandbookPayloadReader reader(text);
  ASSERT_TRUE(reader.locate());  // the structure alone is sound
  EXPECT_EQ(reader.elementCount("post_products"), 3u);
  std::vector<handbook_dict::Node> window;
  EXPECT_TRUE(reader.elements("post_products", 0, 1, window));
  EXPECT_FALSE(reader.elements("post_products", 1, 2, window));
  EXPECT_FALSE(reader.checkRemaining());
  EXPECT_FALSE(reader.open());

  // Values read through elements() and the ones never read are all checked once.
  HandbookPayloadReader good(R"({"post_products":[{"id":1},{"id":2}],"extra":{"a":[1,2]}})");
  ASSERT_TRUE(good.locate());
  EXPECT_TRUE(good.elements("post_products", 1, 1, window));
  EXPECT_TRUE(good.checkRemaining());
  HandbookPayloadReader badExtra(R"({"post_products":[{"id":1}],"extra":{"a":[1,tru]}})");
  ASSERT_TRUE(badExtra.locate());
  EXPECT_TRUE(badExtra.elements("post_products", 0, 1, window));
  EXPECT_FALSE(badExtra.checkRemaining());
}

TEST(HandbookPayloadReaderTest, WindowsOutsideTheArrayGiveNothing) {
  std::string text = R"({"post_products":[{"id":1},{"id":2}],"status":"changed"})";
  HandbookPayloadReader reader(text);
  ASSERT_TRUE(reader.open());
  std::vector<handbook_dict::Node> window{handbook_dict::Node()};
  EXPECT_FALSE(reader.elements("post_products", 1, 2, window));
  EXPECT_TRUE(window.empty());
  EXPECT_FALSE(reader.elements("post_products", 2, 1, window));
  EXPECT_FALSE(reader.elements("post_products", 0, 0, window));
  EXPECT_FALSE(reader.elements("status", 0, 1, window));
  EXPECT_FALSE(reader.elements("missing", 0, 1, window));
  EXPECT_TRUE(reader.elements("post_products", 1, 1, window));
  ASSERT_EQ(window.size(), 1u);
  EXPECT_EQ(window[0].find("id").integer(), 2);
}

TEST(HandbookPayloadReaderTest, DictionariesFindEveryMemberAndTheLastOfRepeatedKeys) {
  // Few members are hashed (with probing past collisions), many are scanned.
  for (int extra : {0, 60, 200}) {
    SCOPED_TRACE(extra);
    std::string record = R"({"title":"first","id":1,"title":"last")";
    for (int i = 0; i < extra; ++i) {
      record += ",\"k";
      record += std::to_string(i);
      record += "\":";
      record += std::to_string(i);
    }
    std::string text = R"({"post_products":[)" + record + "}]}";
    HandbookPayloadReader reader(text);
    ASSERT_TRUE(reader.open());
    std::vector<handbook_dict::Node> window;
    ASSERT_TRUE(reader.elements("post_products", 0, 1, window));
    handbook_dict::Dictionary dict(window[0]);
    EXPECT_EQ(dict.find("title").string(), "last");
    EXPECT_EQ(dict.find("id").integer(), 1);
    EXPECT_EQ(dict.find("missing").kind(), handbook_dict::Node::Kind::Absent);
    EXPECT_EQ(dict.find("").kind(), handbook_dict::Node::Kind::Absent);
    for (int i = 0; i < extra; ++i) {
      std::string key = std::to_string(i);
      key.insert(key.begin(), 'k');
      EXPECT_EQ(dict.find(key).integer(), i);
    }
  }
}

TEST(HandbookPayloadReaderTest, AReusedDictionaryReadsOnlyItsCurrentRecord) {
  // A batch reads every record through one dictionary: nothing of a record read before (its
  // members, hashed or scanned) may answer for the next.
  std::string wide = R"({"id":2)";
  for (int i = 0; i < 120; ++i) wide += ",\"k" + std::to_string(i) + "\":" + std::to_string(i);
  wide += "}";
  std::string text = R"({"post_products":[{"id":1,"title":"one","fats":3},{"id":5},)" + wide +
                     R"(,{"title":"three"},7,{"id":4}]})";
  HandbookPayloadReader reader(text);
  ASSERT_TRUE(reader.open());
  std::vector<handbook_dict::Node> window;
  ASSERT_TRUE(reader.elements("post_products", 0, 6, window));
  using Kind = handbook_dict::Node::Kind;
  handbook_dict::Dictionary dict{handbook_dict::Node()};
  EXPECT_FALSE(dict.isObject());

  dict.reset(window[0]);
  EXPECT_EQ(dict.find("title").string(), "one");
  EXPECT_EQ(dict.find("fats").integer(), 3);

  dict.reset(window[1]);
  EXPECT_EQ(dict.find("id").integer(), 5);
  EXPECT_EQ(dict.find("title").kind(), Kind::Absent);
  EXPECT_EQ(dict.find("fats").kind(), Kind::Absent);

  dict.reset(window[2]);  // too many members to hash
  EXPECT_EQ(dict.find("id").integer(), 2);
  EXPECT_EQ(dict.find("k119").integer(), 119);
  EXPECT_EQ(dict.find("title").kind(), Kind::Absent);
  EXPECT_EQ(dict.find("fats").kind(), Kind::Absent);

  dict.reset(window[3]);
  EXPECT_EQ(dict.find("title").string(), "three");
  EXPECT_EQ(dict.find("id").kind(), Kind::Absent);
  EXPECT_EQ(dict.find("k5").kind(), Kind::Absent);

  dict.reset(window[4]);  // not a dictionary: reads as an empty one
  EXPECT_FALSE(dict.isObject());
  EXPECT_EQ(dict.find("title").kind(), Kind::Absent);

  dict.reset(window[5]);
  EXPECT_EQ(dict.find("id").integer(), 4);
  EXPECT_EQ(dict.find("title").kind(), Kind::Absent);
}

}  // namespace
}  // namespace dm
