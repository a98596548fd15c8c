// The mapping operation into plain in-memory objects: key paths, value rules, identity,
// nesting, foreign keys and failures that must leave the destination as it was.
#include <gtest/gtest.h>

#include <string>

#include "Platform/ObjectMapping/InMemoryDestination.h"
#include "Platform/ObjectMapping/MappingOperation.h"

namespace dm {
namespace {

using Kind = FieldKind;

class MappingOperationTest : public ::testing::Test {
 protected:
  void SetUp() override {
    store.registerClass({"Day",
                         {{"entityID", Kind::Integer64}, {"title", Kind::String}},
                         {{"exercises", "Exercise", true}}});
    store.registerClass({"Exercise",
                         {{"entityID", Kind::Integer64},
                          {"name", Kind::String},
                          {"trainingDayId", Kind::Integer64},
                          {"weight", Kind::Double},
                          {"sets", Kind::Integer16},
                          {"done", Kind::Boolean},
                          {"at", Kind::Date},
                          {"city", Kind::String},
                          {"extra", Kind::Tree}},
                         {{"trainingDay", "Day", false}}});
    store.registerClass(
        {"Set", {{"userId", Kind::Integer64}, {"day", Kind::Integer32}, {"n", Kind::String}}, {}});

    exercise = ObjectMapping::entityMapping("Exercise");
    exercise->addAttributeMappings(std::map<std::string, std::string>{{"id", "entityID"},
                                                                      {"name", "name"},
                                                                      {"day_id", "trainingDayId"},
                                                                      {"weight", "weight"},
                                                                      {"sets", "sets"},
                                                                      {"done", "done"},
                                                                      {"at", "at"},
                                                                      {"address.city", "city"},
                                                                      {"extra", "extra"}});
    exercise->setIdentificationAttributes({"entityID"});
    day = ObjectMapping::entityMapping("Day");
    day->addAttributeMappings(
        std::map<std::string, std::string>{{"id", "entityID"}, {"title", "title"}});
    day->setIdentificationAttributes({"entityID"});
  }

  MappingResult map(std::string_view json, std::shared_ptr<ObjectMapping> mapping,
                    std::string_view keyPath = "") {
    return MappingOperation(store).map(json, keyPath, mapping);
  }
  // The strict mode reports every bad value as an error (the lenient default skips them; see
  // LenientMappingTests).
  static MappingOptions strict() {
    MappingOptions options;
    options.skipInvalidValues = false;
    return options;
  }
  MappingError mapError(std::string_view json, std::shared_ptr<ObjectMapping> mapping,
                        MappingOptions options = strict()) {
    try {
      MappingOperation(store, options).map(json, "", mapping);
    } catch (const MappingError& error) {
      return error;
    }
    ADD_FAILURE() << "no MappingError for " << json.substr(0, 80);
    return MappingError(MappingError::Code::WrongShape, "", "");
  }

  InMemoryDestination store;
  std::shared_ptr<ObjectMapping> exercise, day;
};

TEST_F(MappingOperationTest, NestedKeyPathsRootKeyPathAndTreeValues) {
  auto result = map(R"({"data":{"items":[{"id":1,"address":{"city":"Oslo"},
                       "extra":{"a":[1,2]}}]}})",
                    exercise, "data.items");
  ASSERT_EQ(result.objects.size(), 1u);
  EXPECT_EQ(store.get(result.objects[0], "city"), Value("Oslo"));
  EXPECT_EQ(store.tree(result.objects[0], "extra"), nlohmann::json::parse(R"({"a":[1,2]})"));
  // A missing intermediate object leaves the field alone; a scalar on the way is an error.
  map(R"([{"id":1,"address":null}])", exercise);
  EXPECT_EQ(store.get(result.objects[0], "city"), Value("Oslo"));
  auto error = mapError(R"([{"id":1,"address":"Oslo"}])", exercise);
  EXPECT_EQ(error.keyPaths(), std::vector<std::string>{"[0].address.city"});
}

TEST_F(MappingOperationTest, AbsentKeyKeepsValueAndNullClearsIt) {
  auto first = map(R"({"id":5,"name":"Squat","weight":80})", exercise).objects.at(0);
  map(R"({"id":5,"weight":null})", exercise);
  EXPECT_EQ(store.get(first, "name"), Value("Squat"));
  EXPECT_TRUE(store.get(first, "weight").isNull());
  EXPECT_EQ(store.count("Exercise"), 1u);
}

TEST_F(MappingOperationTest, TransformsValuesBetweenJsonAndFieldTypes) {
  auto o = map(R"({"id":"12","name":12.5,"weight":"80.5","sets":"3","done":"true",
                  "at":"2026-11-22T21:46:50.123+03:00"})",
               exercise)
               .objects.at(0);
  EXPECT_EQ(store.get(o, "entityID"), Value(12));
  EXPECT_EQ(store.get(o, "name"), Value("12.5"));
  EXPECT_EQ(store.get(o, "weight"), Value(80.5));
  EXPECT_EQ(store.get(o, "sets"), Value(3));
  EXPECT_EQ(store.get(o, "done"), Value(true));
  EXPECT_DOUBLE_EQ(store.get(o, "at").asDate().timeIntervalSince1970, 1795373210.123);

  map(R"({"id":12,"done":0,"at":1700000000,"name":true})", exercise);
  EXPECT_EQ(store.get(o, "done"), Value(false));
  EXPECT_EQ(store.get(o, "at").asDate().timeIntervalSince1970, 1700000000);
  EXPECT_EQ(store.get(o, "name"), Value("true"));
  map(R"({"id":12,"at":"2026-11-22T18:46:50Z"})", exercise);
  EXPECT_EQ(store.get(o, "at").asDate().timeIntervalSince1970, 1795373210);
}

TEST_F(MappingOperationTest, UntransformableValuesAreErrorsNamingEveryKeyPath) {
  const char* bad[] = {R"([{"id":{"a":1}}])",
                       R"([{"id":"abc"}])",
                       R"([{"id":9223372036854775808}])",
                       R"([{"id":1.5}])",
                       R"([{"id":1,"sets":40000}])",
                       R"([{"id":1,"done":"maybe"}])",
                       R"([{"id":1,"done":2}])",
                       R"([{"id":1,"at":"22.11.2026"}])",
                       R"([{"id":1,"at":"2026-13-01T00:00:00Z"}])",
                       R"([{"id":1,"name":[1]}])"};
  for (const char* json : bad) {
    auto error = mapError(json, exercise);
    EXPECT_EQ(error.code(), MappingError::Code::InvalidValue) << json;
    EXPECT_EQ(error.keyPaths().size(), 1u) << json;
  }
  auto error = mapError(R"([{"id":1},{"id":2,"sets":"x","weight":"y"}])", exercise);
  EXPECT_EQ(error.keyPaths(), (std::vector<std::string>{"[1].sets", "[1].weight"}));
  EXPECT_EQ(store.count("Exercise"), 0u);
}

TEST_F(MappingOperationTest, DuplicateIdentifiersMapOntoOneRecordAndMatchExisting) {
  ObjectRef existing = store.insert("Exercise");
  store.set(existing, "entityID", Value(2));
  store.set(existing, "name", Value("old"));
  auto result = map(R"([{"id":1,"name":"a"},{"id":2,"name":"b"},{"id":1,"name":"c"}])", exercise);
  EXPECT_EQ(store.count("Exercise"), 2u);
  ASSERT_EQ(result.objects.size(), 2u);
  EXPECT_EQ(result.objects[1], existing);
  EXPECT_EQ(store.get(result.objects[0], "name"), Value("c"));  // the later duplicate wins
  EXPECT_EQ(store.get(existing, "name"), Value("b"));
}

TEST_F(MappingOperationTest, IdentifiesBySeveralAttributes) {
  auto mapping = ObjectMapping::entityMapping("Set");
  mapping->addAttributeMappings(std::vector<std::string>{"userId", "day", "n"});
  mapping->setIdentificationAttributes({"userId", "day"});
  map(R"([{"userId":1,"day":1,"n":"a"},{"userId":1,"day":2,"n":"b"}])", mapping);
  map(R"([{"userId":1,"day":2,"n":"B"},{"userId":2,"day":1,"n":"c"},{"userId":"1","day":1,"n":"A"}])",
      mapping);
  std::vector<std::string> names;
  for (auto o : store.objects("Set")) names.push_back(store.get(o, "n").asString());
  EXPECT_EQ(names, (std::vector<std::string>{"A", "B", "c"}));
}

TEST_F(MappingOperationTest, NestedToManyAndToOneWithParentKeyPath) {
  auto nestedExercise = ObjectMapping::entityMapping("Exercise");
  nestedExercise->addAttributeMappings(
      std::map<std::string, std::string>{{"id", "entityID"}, {"@parent.id", "trainingDayId"}});
  nestedExercise->setIdentificationAttributes({"entityID"});
  auto dayOfExercise = ObjectMapping::entityMapping("Day");
  dayOfExercise->addAttributeMapping("id", "entityID");
  dayOfExercise->setIdentificationAttributes({"entityID"});
  nestedExercise->addRelationshipMapping("day", "trainingDay", dayOfExercise);
  day->addRelationshipMapping("exercises", "exercises", nestedExercise);

  auto days = map(R"([{"id":7,"title":"Legs","exercises":[{"id":1,"day":{"id":7}},{"id":2}]},
                     {"id":8,"exercises":[]}])",
                  day)
                  .objects;
  ASSERT_EQ(days.size(), 2u);
  auto members = store.toMany(days[0], "exercises");
  ASSERT_EQ(members.size(), 2u);
  EXPECT_EQ(store.get(members[1], "trainingDayId"), Value(7));
  EXPECT_EQ(store.toOne(members[0], "trainingDay"), days[0]);  // same identity, same record
  EXPECT_TRUE(store.toMany(days[1], "exercises").empty());
  EXPECT_EQ(store.count("Day"), 2u);

  auto error = mapError(R"([{"id":9,"exercises":[{"id":3},{"id":"x"}]}])", day);
  EXPECT_EQ(error.keyPaths(), std::vector<std::string>{"[0].exercises[1].id"});
  EXPECT_EQ(mapError(R"({"id":9,"exercises":5})", day).code(), MappingError::Code::WrongShape);
}

TEST_F(MappingOperationTest, ConnectsForeignKeysWhateverThePayloadOrder) {
  exercise->addConnection("trainingDay", "trainingDayId", "entityID");
  auto exercises =
      map(R"([{"id":1,"day_id":7},{"id":2,"day_id":99},{"id":3,"day_id":8}])", exercise).objects;
  EXPECT_FALSE(store.toOne(exercises[0], "trainingDay"));  // the day comes later
  auto days = map(R"([{"id":7},{"id":8}])", day).objects;
  map(R"([{"id":1,"day_id":7},{"id":3}])", exercise);
  EXPECT_EQ(store.toOne(exercises[0], "trainingDay"), days[0]);
  EXPECT_EQ(store.toOne(exercises[2], "trainingDay"), days[1]);  // kept id connects too
  EXPECT_FALSE(store.toOne(exercises[1], "trainingDay"));

  // Child and parent in one operation, child first.
  auto both = std::vector<MappingOperation::Root>{{"exercises", exercise}, {"days", day}};
  MappingOperation(store).map(std::string_view(R"({"exercises":[{"id":4,"day_id":9}],
                                                   "days":[{"id":9}]})"),
                              both);
  auto four = store.objects("Exercise").back();
  ASSERT_TRUE(store.toOne(four, "trainingDay"));
  EXPECT_EQ(store.get(store.toOne(four, "trainingDay"), "entityID"), Value(9));
}

TEST_F(MappingOperationTest, MalformedPayloadsLeaveTheDestinationUnchanged) {
  map(R"([{"id":1,"name":"keep"}])", exercise);
  EXPECT_EQ(mapError(R"([{"id":2,"name":"x"},)", exercise).code(),
            MappingError::Code::MalformedJson);
  EXPECT_EQ(mapError(R"("text")", exercise).code(), MappingError::Code::WrongShape);
  EXPECT_EQ(mapError(R"([{"id":2},3])", exercise).keyPaths(), std::vector<std::string>{"[1]"});
  // Good records before a bad one are not written either.
  mapError(R"([{"id":1,"name":"changed"},{"id":3},{"id":"bad"}])", exercise);
  EXPECT_EQ(store.count("Exercise"), 1u);
  EXPECT_EQ(store.get(store.objects("Exercise")[0], "name"), Value("keep"));

  EXPECT_THROW(MappingOperation(store).map(std::string_view("{}"), "missing", exercise),
               MappingError);
  EXPECT_EQ(mapError("[]", ObjectMapping::entityMapping("Nope")).code(),
            MappingError::Code::UnknownClass);
  auto noField = ObjectMapping::objectMapping("Day");
  noField->addAttributeMapping("x", "nope");
  EXPECT_EQ(mapError("[]", noField).code(), MappingError::Code::UnknownClass);
}

TEST_F(MappingOperationTest, TextWithSpareCapacityIsReadOnlyUpToItsEnd) {
  // The bytes after the end stay in the buffer: a parser reading in place must not see them.
  std::string text = R"([{"id":1,"name":"a"}])";
  const std::size_t length = text.size();
  text += R"(,{"id":2,"name":"b"}])";
  text.reserve(text.size() + MappingOperation::kParsePadding);
  text.resize(length);
  ASSERT_GE(text.capacity() - text.size(), MappingOperation::kParsePadding);
  EXPECT_EQ(MappingOperation(store).map(text, "", exercise).objects.size(), 1u);

  std::string truncated = R"([{"id":3,"name":"c"},{"id":4,"name":"d"}])";
  truncated.reserve(truncated.size() + MappingOperation::kParsePadding);
  truncated.resize(truncated.size() - 1);  // the closing bracket is now spare capacity
  try {
    MappingOperation(store).map(truncated, "", exercise);
    ADD_FAILURE() << "a truncated payload mapped";
  } catch (const MappingError& error) {
    EXPECT_EQ(error.code(), MappingError::Code::MalformedJson);
  }
  EXPECT_EQ(store.count("Exercise"), 1u);
}

TEST(ObjectMappingTest, CyclicGraphsAreFreedWithTheirRoot) {
  std::weak_ptr<ObjectMapping> watchComment, watchReply;
  {
    auto comment = ObjectMapping::objectMapping("Comment");
    auto reply = ObjectMapping::objectMapping("Reply");
    comment->addRelationshipMapping("replies", "replies", reply);
    reply->addRelationshipMapping("parent", "parent", comment);  // closes the cycle
    reply->addRelationshipMapping("self", "self", reply);
    watchComment = comment;
    watchReply = reply;
    EXPECT_FALSE(comment->relationshipMappings()[0].isBackReference());
    EXPECT_TRUE(reply->relationshipMappings()[0].isBackReference());
    EXPECT_TRUE(reply->relationshipMappings()[1].isBackReference());
    EXPECT_EQ(reply->relationshipMappings()[0].mapping(), comment);
    reply.reset();
    EXPECT_FALSE(watchReply.expired());  // still owned by the root
  }
  EXPECT_TRUE(watchComment.expired());
  EXPECT_TRUE(watchReply.expired());
}

TEST_F(MappingOperationTest, DepthLimitRefusesDeepNestingWithoutOverflow) {
  store.registerClass({"Node", {{"v", Kind::Integer64}}, {{"next", "Node", false}}});
  auto chain = ObjectMapping::objectMapping("Node");
  chain->addAttributeMapping("v", "v");
  chain->addRelationshipMapping("next", "next", chain);

  auto nestedText = [](int depth) {
    std::string s;
    for (int i = 0; i < depth; ++i) s += R"({"v":1,"next":)";
    s += "null";
    for (int i = 0; i < depth; ++i) s += '}';
    return s;
  };
  MappingOptions options;
  options.maxDepth = 10;
  EXPECT_NO_THROW(MappingOperation(store, options).map(nestedText(10), "", chain));
  EXPECT_EQ(store.count("Node"), 10u);
  EXPECT_EQ(mapError(nestedText(11), chain, options).code(), MappingError::Code::NestingTooDeep);
  EXPECT_EQ(store.count("Node"), 10u);
  // Far deeper than any stack: refused by the parser or the depth limit, never a crash.
  EXPECT_THROW(map(nestedText(100000), chain), MappingError);
  nlohmann::json tree = nullptr;
  for (int i = 0; i < 100000; ++i) tree = nlohmann::json{{"v", 1}, {"next", std::move(tree)}};
  EXPECT_THROW(MappingOperation(store).map(tree, "", chain), MappingError);
}

TEST_F(MappingOperationTest, TreeInputMapsLikeText) {
  const char* text = R"({"items":[{"id":1,"name":"a","at":0,"address":{"city":"X"}},
                                   {"id":18446744073709551615}]})";
  InMemoryDestination other;
  other.registerClass({"Exercise",
                       {{"entityID", Kind::Integer64},
                        {"name", Kind::String},
                        {"at", Kind::Date},
                        {"city", Kind::String}},
                       {}});
  auto mapping = ObjectMapping::entityMapping("Exercise");
  mapping->addAttributeMappings(std::map<std::string, std::string>{
      {"id", "entityID"}, {"name", "name"}, {"at", "at"}, {"address.city", "city"}});
  std::string textError, treeError;
  try {
    MappingOperation(other, strict()).map(std::string_view(text), "items", mapping);
  } catch (const MappingError& e) {
    textError = e.what();
  }
  try {
    MappingOperation(other, strict()).map(nlohmann::json::parse(text), "items", mapping);
  } catch (const MappingError& e) {
    treeError = e.what();
  }
  EXPECT_FALSE(textError.empty());
  EXPECT_EQ(textError, treeError);

  auto objects =
      MappingOperation(other)
          .map(nlohmann::json::parse(R"([{"id":1,"address":{"city":"X"}}])"), "", mapping)
          .objects;
  EXPECT_EQ(other.get(objects.at(0), "city"), Value("X"));
}

}  // namespace
}  // namespace dm
