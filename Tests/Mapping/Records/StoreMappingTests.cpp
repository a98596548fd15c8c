// Payloads mapped into a store through the mappings and descriptors the mapper builds from
// record classes.
#include <gtest/gtest.h>

#include "Platform/ObjectMapping/ManagedObjectDestination.h"
#include "Platform/ObjectMapping/MappingOperation.h"
#include "Platform/ObjectMapping/ObjectManager.h"
#include "RecordsTestSupport.h"

namespace dm::test {
namespace {

class StoreMappingTest : public ::testing::Test {
 protected:
  // Maps `json` with the workout response mapping in the store's context and saves.
  std::vector<ManagedObject*> mapWorkouts(const std::string& json,
                                          const std::string& keyPath = "") {
    auto mapping = ModelMapper::shared()->responseMappingForClass(
        *RecordClasses::classNamed("RecordsWorkoutEntity"));
    ManagedObjectDestination destination(fixture.context());
    MappingOperation operation(destination);
    auto result = operation.map(std::string_view(json), keyPath, mapping);
    fixture.context().save();
    return ManagedObjectDestination::objects(result.objects);
  }
  std::vector<ManagedObject*> all(const char* entity, const char* sortKey = "entityID") {
    FetchRequest request(fixture.context().model().entityNamed(entity));
    request.sortDescriptors = {{sortKey, true}};
    return fixture.context().executeFetchRequest(request);
  }

  RecordsFixture fixture;
};

TEST_F(StoreMappingTest, MappingTwiceUpdatesInPlace) {
  fixture.perform([&] {
    mapWorkouts(R"([
      {"id": 1, "name": "Legs", "level": 2, "status": "published", "guid": "g1",
       "started_at": "2024-05-01T10:00:00Z",
       "items": [{"id": 10, "name": "Squat", "weight_kg": 100, "workout_id": 1},
                 {"id": 11, "name": "Lunge", "workout_id": 1}],
       "trainer": {"id": 5, "name": "Kim"}},
      {"id": 2, "name": "Arms", "level": 1}
    ])");
    // A nested record listed twice maps onto one record; the later values win.
    auto mapped = mapWorkouts(R"([{"id": 1, "name": "Legs day", "status": "deleted",
                                    "items": [{"id": 10, "name": "Squat again", "workout_id": 1},
                                              {"id": 10, "name": "Front squat", "workout_id": 1}]}])");
    ASSERT_EQ(mapped.size(), 1u);

    auto workouts = all("RecordsWorkout");
    ASSERT_EQ(workouts.size(), 2u);
    auto* legs = dynamic_cast<RecordsWorkoutEntity*>(workouts[0]);
    ASSERT_NE(legs, nullptr);
    EXPECT_EQ(legs, mapped[0]);
    EXPECT_EQ(legs->title(), "Legs day");
    EXPECT_EQ(legs->entityStatus(), EntityStatus::Deleted);
    EXPECT_EQ(legs->valueForKey("level").asInt64(), 2);  // absent key: untouched
    EXPECT_EQ(legs->guid(), "g1");
    EXPECT_DOUBLE_EQ(legs->valueForKey("startedAt").asDate().timeIntervalSince1970, 1714557600);
    EXPECT_EQ(workouts[1]->valueForKey("title").asString(), "Arms");  // unrelated: untouched

    auto items = all("RecordsItem");
    ASSERT_EQ(items.size(), 2u);  // no duplicates; item 11 is only no longer related
    EXPECT_EQ(items[0]->valueForKey("name").asString(), "Front squat");
    EXPECT_EQ(items[0]->valueForKey("weight").asDouble(), 100);
    auto members = legs->objectsForKey("items");
    ASSERT_EQ(members.size(), 1u);
    EXPECT_EQ(members[0], items[0]);
    ASSERT_NE(legs->objectForKey("coach"), nullptr);
    EXPECT_EQ(legs->objectForKey("coach")->valueForKey("name").asString(), "Kim");
  });
}

TEST_F(StoreMappingTest, ForeignKeysConnectRecordsMappedOnTheirOwn) {
  fixture.perform([&] {
    mapWorkouts(R"([{"id": 4, "name": "Back"}])");
    auto itemMapping = ModelMapper::shared()->responseMappingForClass(
        *RecordClasses::classNamed("RecordsItemEntity"));
    ManagedObjectDestination destination(fixture.context());
    MappingOperation(destination)
        .map(std::string_view(R"([{"id": 20, "workout_id": 4}, {"id": 21, "workout_id": 99}])"), "",
             itemMapping);
    fixture.context().save();
    auto items = all("RecordsItem");
    ASSERT_EQ(items.size(), 2u);
    ASSERT_NE(items[0]->objectForKey("workout"), nullptr);
    EXPECT_EQ(items[0]->objectForKey("workout")->valueForKey("entityID").asInt64(), 4);
    EXPECT_EQ(items[1]->objectForKey("workout"), nullptr);  // no such workout
  });
}

TEST_F(StoreMappingTest, DescriptorsFromTheMapperDriveTheObjectManager) {
  auto mapper = ModelMapper::shared();
  const RecordClass& workoutClass = *RecordClasses::classNamed("RecordsWorkoutEntity");
  ObjectManager manager;
  manager.addResponseDescriptor(mapper->responseDescriptorForClass(
      workoutClass, "/workouts", workoutClass.pluralRootKeyPath(), RequestMethod::GET,
      ResponseDescriptor::successfulStatusCodes()));
  manager.addRequestDescriptor(mapper->requestDescriptorForClass(
      workoutClass, workoutClass.rootKeyPath(), RequestMethod::POST));
  fixture.perform([&] {
    ManagedObjectDestination destination(fixture.context());
    auto result = manager.mapResponse(
        RequestMethod::GET, "/workouts", 200,
        std::string_view(R"({"workouts": [{"id": 8, "name": "Core"}]})"), destination);
    ASSERT_EQ(result.objects.size(), 1u);
    auto body = manager.requestBody(destination, result.objects[0], RequestMethod::POST);
    EXPECT_EQ(body["workout"]["id"], 8);
    EXPECT_EQ(body["workout"]["name"], "Core");
    EXPECT_EQ(body["workout"]["items"], nlohmann::json::array());
    EXPECT_FALSE(body["workout"].contains("entitySyncState"));  // device-only
    EXPECT_THROW(manager.mapResponse(RequestMethod::GET, "/workouts", 200,
                                     std::string_view(R"({"workouts": 5})"), destination),
                 MappingError);
  });
}

}  // namespace
}  // namespace dm::test
