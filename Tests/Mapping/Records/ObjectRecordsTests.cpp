// Transient records: serialisation, copying, value copying and archiving.
#include <gtest/gtest.h>

#include "RecordsTestSupport.h"

namespace dm::test {
namespace {

std::shared_ptr<RecordsCommentRequest> comment(const std::string& text) {
  auto record = std::make_shared<RecordsCommentRequest>();
  record->setValueForKey("text", text);
  return record;
}

TEST(ObjectRecordsTest, SerializedRemovesNullsAtEveryLevelAndWrapsUnderTheRootKey) {
  auto record = comment("Great set");
  record->setGuid("c-1");
  record->setValueForKey(
      "extra", RecordValue::Dictionary{{"kept", 1},
                                       {"gone", RecordValue()},
                                       {"inner", RecordValue::Dictionary{{"gone", RecordValue()}}},
                                       {"list", RecordValue::Array{1, RecordValue(), "x"}}});
  auto tree = record->serialized();
  ASSERT_EQ(tree.asDictionary().size(), 1u);
  const auto& body = tree["comment"];
  EXPECT_EQ(body["body"], RecordValue("Great set"));
  EXPECT_EQ(body["guid"], RecordValue("c-1"));
  EXPECT_EQ(body["rating"], RecordValue(0));  // unset scalars read as 0
  EXPECT_EQ(body["pinned"], RecordValue(false));
  EXPECT_FALSE(body.asDictionary().count("author"));  // absent object fields are omitted
  EXPECT_FALSE(body.asDictionary().count("text"));    // sent under its server key only
  EXPECT_EQ(body["extra"],
            RecordValue(RecordValue::Dictionary{{"kept", 1},
                                                {"inner", RecordValue::Dictionary{}},
                                                {"list", RecordValue::Array{1, "x"}}}));
  auto json = tree.toJson();
  ASSERT_TRUE(json);
  EXPECT_EQ((*json)["comment"]["extra"]["list"], nlohmann::json::parse(R"([1, "x"])"));
}

TEST(ObjectRecordsTest, SerializedNestsOnlyRecordsOfItsOwnClass) {
  auto parent = comment("parent");
  auto reply = std::make_shared<RecordsReplyRequest>();  // a subclass: serialised in place
  reply->setValueForKey("text", "reply");
  auto author = std::make_shared<RecordsAuthorObject>();  // another class: left as it is
  author->setValueForKey("name", "Ann");
  parent->setValueForKey("replies", RecordValue::Array{reply, comment("second")});
  parent->setValueForKey("author", author);
  parent->setValueForKey("extra", RecordValue::Dictionary{{"deep", comment("deep")}});

  auto body = parent->serialized()["comment"];
  const auto& replies = body["replies"].asArray();
  ASSERT_EQ(replies.size(), 2u);
  EXPECT_EQ(replies[0]["comment"]["body"], RecordValue("reply"));
  EXPECT_EQ(replies[1]["comment"]["body"], RecordValue("second"));
  EXPECT_EQ(body["extra"]["deep"]["comment"]["body"], RecordValue("deep"));
  EXPECT_EQ(body["author"].asRecord(), author);
  EXPECT_FALSE(parent->serialized().toJson());  // the author is not JSON yet
  EXPECT_EQ(parent->serialized().description()["comment"]["author"]["RecordsAuthorObject"]["name"],
            nlohmann::json("Ann"));

  // A comment that replies to itself cannot nest forever.
  parent->setValueForKey("replies", RecordValue::Array{parent});
  auto looped = parent->serialized();
  EXPECT_TRUE(looped.isDictionary());
  parent->setValueForKey("replies", RecordValue());  // records own each other: break the loop
}

TEST(ObjectRecordsTest, ARecordWithoutMappingHasNothingToSendOrCopy) {
  auto bare = std::make_shared<RecordsBareObject>();
  EXPECT_TRUE(bare->setValueForKey("count", 3));
  EXPECT_FALSE(bare->setValueForKey("undeclared", 3));
  EXPECT_TRUE(bare->propertyNames().empty());
  EXPECT_EQ(bare->serialized(), RecordValue(RecordValue::Dictionary{}));
  auto copy = bare->copy();
  ASSERT_TRUE(copy);
  EXPECT_EQ(copy->className(), "RecordsBareObject");
  EXPECT_EQ(copy->valueForKey("count"), RecordValue(0));
}

TEST(ObjectRecordsTest, CopyIsShallowAndKeepsTheClass) {
  auto reply = std::make_shared<RecordsReplyRequest>();
  auto author = std::make_shared<RecordsAuthorObject>();
  reply->setValueForKey("author", author);
  reply->setValueForKey("rating", 4);
  auto copy = std::dynamic_pointer_cast<RecordsReplyRequest>(reply->copy());
  ASSERT_TRUE(copy);
  EXPECT_EQ(copy->recordForKey<RecordsAuthorObject>("author"), author);  // shared, not copied
  EXPECT_EQ(copy->integerForKey("rating"), 4);
  copy->setValueForKey("rating", 5);
  EXPECT_EQ(reply->integerForKey("rating"), 4);
}

TEST(ObjectRecordsTest, CopyValuesUsesZeroForAbsentScalarsOnly) {
  auto source = std::make_shared<RecordsCommentRequest>();  // rating and text absent
  auto target = comment("old");
  target->setValueForKey("rating", 9);
  target->setValueForKey("postedAt", Date(5));
  source->setValueForKey("postedAt", Date(10));
  target->copyValuesFromObject(*source);
  EXPECT_EQ(target->valueForKey("rating"), RecordValue(0));
  EXPECT_TRUE(target->valueForKey("text").isNull());
  EXPECT_EQ(target->valueForKey("postedAt"), RecordValue(Date(10)));

  // From another class: only the names it declares.
  auto author = std::make_shared<RecordsAuthorObject>();
  author->setValueForKey("name", "Ann");
  auto fromAuthor = comment("kept");
  fromAuthor->copyValuesFromObject(*author);
  EXPECT_EQ(fromAuthor->stringForKey("text"), "kept");
}

TEST(ObjectRecordsTest, CopyValuesFromAStoredRecord) {
  RecordsFixture fixture;
  fixture.perform([&] {
    auto* workout = fixture.context().insertNew<RecordsWorkoutEntity>("RecordsWorkout");
    workout->setGuid("w-1");
    auto request = comment("old");
    request->setValueForKey("rating", 3);
    request->copyValuesFromObject(*workout);
    EXPECT_EQ(request->guid(), "w-1");
    EXPECT_EQ(request->stringForKey("text"), "old");  // the entity has no such attribute
  });
}

TEST(ObjectRecordsTest, ArchiveRoundTrip) {
  auto record = comment("hello");
  record->setGuid("c-9");
  record->setValueForKey("rating", 5);
  record->setValueForKey("postedAt", Date(1700000000.5));
  auto author = std::make_shared<RecordsAuthorObject>();
  author->setValueForKey("name", "Ann");
  record->setValueForKey("author", author);
  record->setValueForKey("extra", RecordValue::Dictionary{{"$class", "not a class"}, {"n", 1.5}});

  auto bytes = record->archivedData();
  ASSERT_TRUE(bytes);
  auto decoded = std::dynamic_pointer_cast<RecordsCommentRequest>(
      BaseMappableObject::unarchivedObject(*bytes));
  ASSERT_TRUE(decoded);
  for (const char* name : {"text", "guid", "rating", "postedAt", "extra"})
    EXPECT_EQ(decoded->valueForKey(name), record->valueForKey(name)) << name;
  auto decodedAuthor = decoded->recordForKey<RecordsAuthorObject>("author");
  ASSERT_TRUE(decodedAuthor);
  EXPECT_EQ(decodedAuthor->stringForKey("name"), "Ann");

  auto corrupt = *bytes;
  corrupt.resize(corrupt.size() / 2);
  EXPECT_EQ(BaseMappableObject::unarchivedObject(corrupt), nullptr);
  EXPECT_EQ(BaseMappableObject::unarchivedObject({}), nullptr);
}

}  // namespace
}  // namespace dm::test
