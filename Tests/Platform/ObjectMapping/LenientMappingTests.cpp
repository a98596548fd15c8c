// Mapping that survives bad values: what is skipped and reported, what still fails the whole
// operation, and dictionaries and lists mapped from payloads and sent back.
#include <gtest/gtest.h>

#include "Platform/ObjectMapping/ManagedObjectDestination.h"
#include "Platform/ObjectMapping/MappingOperation.h"
#include "Platform/ObjectMapping/RequestSerialization.h"
#include "Platform/ObjectStore/PersistentStore.h"
#include "Platform/ObjectStore/StructuredValue.h"
#include "Support/RecordingSinks.h"
#include "Support/TempDir.h"

namespace dm {
namespace {

constexpr const char* kModel = R"({"name": "LenientModel", "entities": [
  {"name": "Profile", "attributes": [
     {"name": "entityID", "type": "integer64", "indexed": true},
     {"name": "name", "type": "string"},
     {"name": "age", "type": "integer32"},
     {"name": "prefs", "type": "dictionary"},
     {"name": "tags", "type": "list"}],
   "relationships": [
     {"name": "posts", "destination": "Post", "inverse": "profile", "toMany": true},
     {"name": "best", "destination": "Post"}]},
  {"name": "Post", "attributes": [
     {"name": "entityID", "type": "integer64", "indexed": true},
     {"name": "title", "type": "string"}],
   "relationships": [{"name": "profile", "destination": "Profile", "inverse": "posts"}]}]})";

class LenientMappingTest : public ::testing::Test {
 protected:
  void SetUp() override {
    open();
    post = ObjectMapping::entityMapping("Post");
    post->addAttributeMappings(
        std::map<std::string, std::string>{{"id", "entityID"}, {"title", "title"}});
    post->setIdentificationAttributes({"entityID"});
    profile = ObjectMapping::entityMapping("Profile");
    profile->addAttributeMappings(std::map<std::string, std::string>{{"id", "entityID"},
                                                                     {"name", "name"},
                                                                     {"age", "age"},
                                                                     {"prefs", "prefs"},
                                                                     {"tags", "tags"}});
    profile->setIdentificationAttributes({"entityID"});
    profile->addRelationshipMapping("posts", "posts", post);
    profile->addRelationshipMapping("best", "best", post);
  }
  void open() {
    context.reset();
    store.reset();
    static auto model = ManagedObjectModel::fromJson(kModel);
    store = PersistentStore::open(model, StoreType::SQLite, (dir / "lenient.sqlite").string());
    context = ManagedObjectContext::createRoot(store, ConcurrencyType::MainQueue, "lenient");
  }
  MappingResult map(std::string_view json, MappingOptions options = {}) {
    ManagedObjectDestination destination(*context);
    return MappingOperation(destination, options).map(json, "", profile);
  }
  std::vector<ManagedObject*> all(const char* entity) {
    FetchRequest request(context->model().entityNamed(entity));
    request.sortDescriptors = {{"entityID", true}};
    return context->executeFetchRequest(request);
  }
  static std::vector<std::string> paths(const MappingResult& result) {
    std::vector<std::string> out;
    for (const auto& skipped : result.skipped) out.push_back(skipped.keyPath);
    return out;
  }
  std::size_t index(const char* attribute) {
    return static_cast<std::size_t>(
        context->model().entityNamed("Profile")->attributeIndex(attribute));
  }

  test::TempDir dir;
  test::RecordingSinks sinks;
  std::shared_ptr<PersistentStore> store;
  std::shared_ptr<ManagedObjectContext> context;
  std::shared_ptr<ObjectMapping> profile, post;
};

constexpr const char* kPayloadWithBadFields = R"([
  {"id": 1, "name": "Ann", "age": "old", "prefs": {"units": "metric"}, "tags": "solo",
   "posts": [{"id": 5, "title": "first"}, 7, {"id": "x", "title": "lost"}], "best": [1]},
  {"id": {"not": "an id"}, "name": "Nobody"},
  {"id": 2, "name": "Bob", "age": 41, "prefs": ["wrong"], "tags": ["a", 1],
   "posts": "none", "best": {"id": 5}}])";

TEST_F(LenientMappingTest, OneBadFieldLeavesEveryOtherFieldAndRecordStored) {
  auto result = map(kPayloadWithBadFields);
  EXPECT_EQ(paths(result),
            (std::vector<std::string>{"[0].age", "[0].tags", "[0].posts[1]", "[0].posts[2].id",
                                      "[0].best", "[1].id", "[2].prefs", "[2].posts"}));
  EXPECT_EQ(result.skippedCount, 8u);
  EXPECT_EQ(result.skipped[0].className, "Profile");
  EXPECT_EQ(result.skipped[3].className, "Post");
  EXPECT_EQ(result.objects.size(), 2u);
  // Each skip is a diagnostic event naming the key path and the class.
  auto logged = sinks.events->events();
  ASSERT_EQ(logged.size(), 8u);
  EXPECT_EQ(logged[0].description, "Mapping skipped a value");
  EXPECT_EQ(logged[0].parameters["keyPath"], "[0].age");
  EXPECT_EQ(logged[0].parameters["class"], "Profile");
  context->save();

  open();
  auto profiles = all("Profile");
  ASSERT_EQ(profiles.size(), 2u);
  EXPECT_EQ(profiles[0]->valueForKey("name"), Value("Ann"));
  EXPECT_TRUE(profiles[0]->valueForKey("age").isNull());
  EXPECT_EQ(structureAt(*profiles[0], index("prefs")), (nlohmann::json{{"units", "metric"}}));
  EXPECT_TRUE(profiles[0]->valueForKey("tags").isNull());
  ASSERT_EQ(profiles[0]->objectsForKey("posts").size(), 1u);
  EXPECT_EQ(profiles[0]->objectsForKey("posts")[0]->valueForKey("title"), Value("first"));
  EXPECT_EQ(profiles[1]->valueForKey("age"), Value(41));
  EXPECT_EQ(structureAt(*profiles[1], index("tags")), (nlohmann::json{"a", 1}));
  EXPECT_EQ(profiles[1]->objectForKey("best"), profiles[0]->objectsForKey("posts")[0]);
  EXPECT_EQ(all("Post").size(), 1u);  // the unidentifiable post was left out

  // A skipped value, or a related record left out, leaves what was stored before.
  ManagedObject* best = all("Profile")[1]->objectForKey("best");
  map(R"([{"id": 2, "age": "forty", "name": "Bobby", "best": {"id": "bad"}}])");
  EXPECT_EQ(all("Profile")[1]->valueForKey("age"), Value(41));
  EXPECT_EQ(all("Profile")[1]->valueForKey("name"), Value("Bobby"));
  EXPECT_EQ(all("Profile")[1]->objectForKey("best"), best);
}

// An identifier sent as null cannot find the record again: mapping the same answer twice must
// not add a copy each time, while a record with no identifier at all is still new.
TEST_F(LenientMappingTest, NullIdentifierIsLeftOutInsteadOfAddedOnEveryMapping) {
  constexpr const char* kAnswer = R"([{"id": null, "name": "Ghost"}, {"id": 3, "name": "Cy"}])";
  for (int run = 0; run < 2; ++run) {
    auto result = map(kAnswer);
    EXPECT_EQ(paths(result), (std::vector<std::string>{"[0].id"}));
    EXPECT_EQ(result.objects.size(), 1u);
  }
  context->save();
  auto profiles = all("Profile");
  ASSERT_EQ(profiles.size(), 1u);
  EXPECT_EQ(profiles[0]->valueForKey("name"), Value("Cy"));
  map(R"([{"name": "Anonymous"}])");
  EXPECT_EQ(all("Profile").size(), 2u);
}

TEST_F(LenientMappingTest, StrictOptionAndStructuralProblemsFailWithTheStoreUnchanged) {
  map(R"([{"id": 1, "name": "Ann", "prefs": {"a": 1}}])");
  context->save();
  sinks.events->clear();

  MappingOptions strict;
  strict.skipInvalidValues = false;
  try {
    map(kPayloadWithBadFields, strict);
    FAIL() << "strict mapping accepted bad values";
  } catch (const MappingError& error) {
    EXPECT_EQ(error.issues().front().keyPath, "[0].age");
    EXPECT_EQ(error.issues().front().className, "Profile");
  }
  MappingOptions shallow;
  shallow.maxDepth = 3;
  const std::pair<const char*, MappingOptions> structural[] = {
      {R"([{"id": 1, "name": "changed")", {}},       // not JSON
      {R"("a text")", {}},                           // root of the wrong kind
      {R"([{"id": 1, "name": "changed"}, 5])", {}},  // root element not an object
      {R"({"id": 1, "name": "changed", "prefs": {"a": {"b": {"c": {}}}}})", shallow},  // too deep
  };
  for (const auto& [json, options] : structural) {
    EXPECT_THROW(map(json, options), MappingError) << json;
  }
  EXPECT_FALSE(context->hasChanges());
  EXPECT_TRUE(sinks.events->events().empty());
  ASSERT_EQ(all("Profile").size(), 1u);
  EXPECT_EQ(all("Profile")[0]->valueForKey("name"), Value("Ann"));
}

TEST_F(LenientMappingTest, StructuredFieldsMapClearAndSerialiseBack) {
  auto result = map(R"({"id": 3, "prefs": {"by_rating": {"5": 2, "4": 0}}, "tags": [1, [2, {}]]})");
  ManagedObject* stored = ManagedObjectDestination::objects(result.objects).front();
  EXPECT_EQ(structureAt(*stored, index("prefs")),
            (nlohmann::json{{"by_rating", {{"5", 2}, {"4", 0}}}}));
  context->save();
  // The same payload again changes nothing; null clears.
  map(R"({"id": 3, "prefs": {"by_rating": {"5": 2, "4": 0}}})");
  EXPECT_FALSE(context->hasChanges());

  auto request = ObjectMapping::requestMapping();
  request->addAttributeMappings(
      std::map<std::string, std::string>{{"prefs", "prefs"}, {"tags", "tags"}});
  ManagedObjectDestination source(*context);
  auto body = serializeRequest(*request, source, ManagedObjectDestination::ref(stored));
  EXPECT_EQ(body, (nlohmann::json{{"prefs", {{"by_rating", {{"5", 2}, {"4", 0}}}}},
                                  {"tags", {1, {2, nlohmann::json::object()}}}}));

  map(R"({"id": 3, "tags": null})");
  EXPECT_TRUE(stored->valueAt(index("tags")).isNull());
  EXPECT_EQ(serializeRequest(*request, source, ManagedObjectDestination::ref(stored))["tags"],
            nullptr);
}

}  // namespace
}  // namespace dm
