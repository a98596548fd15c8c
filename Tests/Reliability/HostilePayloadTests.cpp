// Hostile server payloads mapped into a real store: whatever the engine refuses leaves the
// store and the context exactly as they were; whatever it accepts reads back as sent.
#include <gtest/gtest.h>

#include <string>

#include "Platform/ObjectMapping/ManagedObjectDestination.h"
#include "Platform/ObjectMapping/MappingError.h"
#include "Platform/ObjectMapping/MappingOperation.h"
#include "Platform/ObjectStore/PersistentStore.h"
#include "Support/DayExerciseModel.h"
#include "Support/RecordingSinks.h"
#include "Support/TempDir.h"

namespace dm {
namespace {

// Exercises nest their day and days their exercises: the two mappings hold each other, so
// they are built once and kept for the process.
std::shared_ptr<ObjectMapping> exerciseMapping() {
  static const std::shared_ptr<ObjectMapping> mapping = [] {
    std::shared_ptr<ObjectMapping> exercise;
    exercise = ObjectMapping::entityMapping("Exercise");
    exercise->addAttributeMappings(std::map<std::string, std::string>{
        {"id", "entityID"}, {"name", "name"}, {"sets", "sets"}, {"weight", "weight"}});
    exercise->setIdentificationAttributes({"entityID"});
    auto day = ObjectMapping::entityMapping("Day");
    day->addAttributeMappings(
        std::map<std::string, std::string>{{"id", "entityID"}, {"title", "title"}});
    day->setIdentificationAttributes({"entityID"});
    exercise->addRelationshipMapping("day", "trainingDay", day);
    day->addRelationshipMapping("exercises", "exercises", exercise);
    return exercise;
  }();
  return mapping;
}

class HostilePayloadTest : public ::testing::Test {
 protected:
  void SetUp() override {
    store = PersistentStore::open(test::dayExerciseModel(), StoreType::SQLite,
                                  (dir / "hostile.sqlite").string());
    context = ManagedObjectContext::createRoot(store, ConcurrencyType::MainQueue, "hostile");
    exercise = exerciseMapping();
    map(R"([{"id":1,"name":"Squat","sets":3,"weight":80.5,"day":{"id":7,"title":"Legs"}}])");
    context->save();
  }

  void map(std::string_view json) {
    ManagedObjectDestination destination(*context);
    // Strict: every refused value must leave the store as it was (skipping is tested apart).
    MappingOptions strict;
    strict.skipInvalidValues = false;
    MappingOperation(destination, strict).map(json, "", exercise);
  }
  // Every row of both entities as text, in id order.
  std::string snapshot() {
    std::string out;
    for (const char* entity : {"Day", "Exercise"}) {
      FetchRequest request(context->model().entityNamed(entity));
      request.sortDescriptors.push_back({"entityID", true});
      for (auto* object : context->executeFetchRequest(request)) {
        out += entity;
        for (const char* key : {"entityID", "name", "title", "sets", "weight"})
          if (object->entity().attributeNamed(key))
            out += " " + object->valueForKey(key).description().substr(0, 64);
        out += "\n";
      }
    }
    return out;
  }

  test::RecordingSinks sinks;
  test::TempDir dir;
  std::shared_ptr<PersistentStore> store;
  std::shared_ptr<ManagedObjectContext> context;
  std::shared_ptr<ObjectMapping> exercise;
};

std::string deeplyNested(std::size_t levels) {
  std::string open, close;
  for (std::size_t i = 0; i < levels; ++i) {
    open += R"({"id":)" + std::to_string(i + 100) + R"(,"day":{"id":7,"exercises":[)";
    close += "]}}";
  }
  return "[" + open + R"({"id":2})" + close + "]";
}

TEST_F(HostilePayloadTest, RefusedPayloadsLeaveTheStoreUnchanged) {
  const std::string before = snapshot();
  for (const std::string& payload : {
           deeplyNested(100000),
           "[" + std::string(100000, '[') + std::string(100000, ']') + "]",
           std::string(R"([{"id":1,"name":"changed"},{"id":18446744073709551616}])"),
           std::string(R"([{"id":1,"name":"changed"},{"id":1e30}])"),
           std::string(R"([{"id":1,"name":"changed"},{"id":2,"sets":70000}])"),
           std::string(R"([{"id":1,"name":"changed"},{"id":2,"weight":NaN}])"),
           std::string(R"([{"id":1,"name":"changed"},{"id":{"x":1}}])"),
           std::string(R"([{"id":1,"name":"changed"},{"id":2,"weight":"heavy"}])"),
           std::string(R"([{"id":1,"name":"changed"},{"id":2,"day":[1,2]}])"),
           std::string(R"([{"id":1,"name":"changed"},)"),  // not JSON
           std::string(R"("just text")"),                  // not a record or a list
           std::string("[{\"id\":1,\"name\":\"caf\xe9\"}]"),
           std::string("[{\"id\":1,\"name\":\"changed\"},{\"id\":2,\"name\":\"\xff\xfe\"}]"),
       }) {
    EXPECT_THROW(map(payload), MappingError) << payload.substr(0, 80);
    EXPECT_FALSE(context->hasChanges()) << payload.substr(0, 80);
    EXPECT_EQ(snapshot(), before) << payload.substr(0, 80);
  }
}

TEST_F(HostilePayloadTest, OddButValidPayloadsEitherMapFaithfullyOrChangeNothing) {
  const std::string huge(50u << 20, 'h');
  const std::string before = snapshot();
  struct Case {
    std::string payload;
    std::string expectedName;  // of exercise 1 when accepted
  };
  for (const Case& c : std::vector<Case>{
           {R"([{"id":1,"name":")" + huge + R"("}])", huge},
           {R"([{"id":1,"name":"first","name":"second"}])", ""},
           {R"([{"id":1.5,"name":"fraction"}])", ""},
           {R"([{"id":-1,"name":"negative"}])", "Squat"},
       }) {
    bool accepted = true;
    try {
      map(c.payload);
    } catch (const MappingError&) {
      accepted = false;
    }
    if (!accepted) {
      EXPECT_FALSE(context->hasChanges()) << c.payload.substr(0, 80);
      EXPECT_EQ(snapshot(), before) << c.payload.substr(0, 80);
      continue;
    }
    context->save();
    FetchRequest request(context->model().entityNamed("Exercise"));
    request.predicate = Predicate::keyEquals("entityID", Value(1));
    auto rows = context->executeFetchRequest(request);
    ASSERT_EQ(rows.size(), 1u) << c.payload.substr(0, 80);
    if (!c.expectedName.empty()) {
      EXPECT_TRUE(rows[0]->valueForKey("name") == Value(c.expectedName)) << c.payload.substr(0, 80);
    }
    // Put exercise 1 back for the next case.
    map(R"([{"id":1,"name":"Squat"}])");
    context->save();
  }
}

}  // namespace
}  // namespace dm
