// Mapping into a real store: upserts, nested records and foreign keys, and rollback.
#include <gtest/gtest.h>

#include "Platform/ObjectMapping/ManagedObjectDestination.h"
#include "Platform/ObjectMapping/MappingOperation.h"
#include "Platform/ObjectStore/PersistentStore.h"
#include "Support/DayExerciseModel.h"
#include "Support/TempDir.h"

namespace dm {
namespace {

class ManagedObjectDestinationTest : public ::testing::Test {
 protected:
  void SetUp() override {
    open();
    exercise = ObjectMapping::entityMapping("Exercise");
    exercise->addAttributeMappings(std::map<std::string, std::string>{{"id", "entityID"},
                                                                      {"name", "name"},
                                                                      {"weight", "weight"},
                                                                      {"day_id", "trainingDayId"},
                                                                      {"at", "at"},
                                                                      {"guid", "guid"}});
    exercise->setIdentificationAttributes({"entityID"});
    day = ObjectMapping::entityMapping("Day");
    day->addAttributeMappings(
        std::map<std::string, std::string>{{"id", "entityID"}, {"title", "title"}});
    day->setIdentificationAttributes({"entityID"});
  }
  void open() {
    context.reset();
    store.reset();
    store = PersistentStore::open(test::dayExerciseModel(), StoreType::SQLite,
                                  (dir / "map.sqlite").string());
    context = ManagedObjectContext::createRoot(store, ConcurrencyType::MainQueue, "mapping");
  }
  std::vector<ManagedObject*> all(const char* entity, const char* sortKey = "entityID") {
    FetchRequest request(context->model().entityNamed(entity));
    request.sortDescriptors.push_back({sortKey, true});
    return context->executeFetchRequest(request);
  }
  std::vector<ManagedObject*> map(std::string_view json, std::shared_ptr<ObjectMapping> mapping) {
    ManagedObjectDestination destination(*context);
    auto result = MappingOperation(destination).map(json, "", mapping);
    return ManagedObjectDestination::objects(result.objects);
  }

  test::TempDir dir;
  std::shared_ptr<PersistentStore> store;
  std::shared_ptr<ManagedObjectContext> context;
  std::shared_ptr<ObjectMapping> exercise, day;
};

TEST_F(ManagedObjectDestinationTest, UpsertTwiceUpdatesWithoutDuplicates) {
  map(R"([{"id":1,"name":"Squat","weight":80},{"id":2,"name":"Row"},{"id":3,"name":"Keep"}])",
      exercise);
  context->save();
  map(R"([{"id":2,"name":"Row2","weight":"50.5","at":"2026-11-22T18:46:50Z"},
          {"id":1,"weight":null},{"id":4,"name":"New"},{"id":4,"name":"New2"}])",
      exercise);
  EXPECT_EQ(all("Exercise").size(), 4u);  // unsaved inserts are matched too
  context->save();

  open();  // read back from the file
  auto rows = all("Exercise");
  ASSERT_EQ(rows.size(), 4u);
  EXPECT_EQ(rows[0]->valueForKey("name"), Value("Squat"));
  EXPECT_TRUE(rows[0]->valueForKey("weight").isNull());
  EXPECT_EQ(rows[1]->valueForKey("name"), Value("Row2"));
  EXPECT_EQ(rows[1]->valueForKey("weight"), Value(50.5));
  EXPECT_EQ(rows[1]->valueForKey("at").asDate().timeIntervalSince1970, 1795373210);
  EXPECT_EQ(rows[2]->valueForKey("name"), Value("Keep"));
  EXPECT_EQ(rows[3]->valueForKey("name"), Value("New2"));

  // An identical payload writes nothing.
  map(R"([{"id":3,"name":"Keep"}])", exercise);
  EXPECT_FALSE(context->hasChanges());
}

TEST_F(ManagedObjectDestinationTest, EmptyEntityStillMatchesUnsavedRecordsAndDuplicates) {
  // Nothing of Exercise is in the file; one unsaved record is in the context.
  ManagedObject* unsaved = context->insertNewObject("Exercise");
  unsaved->setValueForKey("entityID", Value(2));
  unsaved->setValueForKey("name", Value("unsaved"));
  auto result = map(R"([{"id":1,"name":"a"},{"id":2,"name":"b"},{"id":1.0,"name":"c"}])", exercise);
  ASSERT_EQ(result.size(), 2u);
  EXPECT_EQ(result[1], unsaved);
  EXPECT_EQ(result[0]->valueForKey("name"), Value("c"));
  EXPECT_EQ(unsaved->valueForKey("name"), Value("b"));

  // Children repeated under two parents of an empty store are one record.
  auto nested = ObjectMapping::entityMapping("Exercise");
  nested->addAttributeMappings(
      std::map<std::string, std::string>{{"id", "entityID"}, {"name", "name"}});
  nested->setIdentificationAttributes({"entityID"});
  day->addRelationshipMapping("exercises", "exercises", nested);
  map(R"([{"id":7,"exercises":[{"id":10,"name":"x"},{"id":11}]},
          {"id":8,"exercises":[{"id":10,"name":"y"}]}])",
      day);
  context->save();
  open();
  auto exercises = all("Exercise");
  ASSERT_EQ(exercises.size(), 4u);
  EXPECT_EQ(exercises[2]->valueForKey("name"), Value("y"));
  EXPECT_EQ(exercises[2]->objectForKey("trainingDay")->valueForKey("entityID"), Value(8));
}

TEST_F(ManagedObjectDestinationTest, NestedRecordsAndForeignKeysConnectInTheStore) {
  auto nested = ObjectMapping::entityMapping("Exercise");
  nested->addAttributeMappings(
      std::map<std::string, std::string>{{"guid", "guid"}, {"@parent.id", "trainingDayId"}});
  nested->setIdentificationAttributes({"guid"});
  day->addRelationshipMapping("exercises", "exercises", nested);
  map(R"([{"id":7,"title":"Legs","exercises":[{"guid":"a"},{"guid":"b"}]}])", day);
  exercise->addConnection("trainingDay", "trainingDayId", "entityID");
  map(R"([{"id":1,"day_id":8},{"id":2,"day_id":7}])", exercise);  // day 8 arrives later
  map(R"([{"id":8,"title":"Arms"}])", day);
  map(R"([{"id":1,"day_id":8}])", exercise);
  context->save();

  open();
  auto days = all("Day");
  ASSERT_EQ(days.size(), 2u);
  auto legs = days[0]->objectsForKey("exercises");
  EXPECT_EQ(legs.size(), 3u);  // a, b and exercise 2 by its foreign key
  for (auto* e : legs) EXPECT_EQ(e->valueForKey("trainingDayId"), Value(7));
  ASSERT_EQ(days[1]->objectsForKey("exercises").size(), 1u);
  EXPECT_EQ(days[1]->objectsForKey("exercises")[0]->valueForKey("entityID"), Value(1));
}

TEST_F(ManagedObjectDestinationTest, MissingForeignKeyKeepsTheNestedParentButNullClears) {
  // The nested mapping connects by the foreign key too, but its items may omit the key.
  auto nested = ObjectMapping::entityMapping("Exercise");
  nested->addAttributeMappings(
      std::map<std::string, std::string>{{"id", "entityID"}, {"day_id", "trainingDayId"}});
  nested->setIdentificationAttributes({"entityID"});
  nested->addConnection("trainingDay", "trainingDayId", "entityID");
  day->addRelationshipMapping("exercises", "exercises", nested);
  map(R"([{"id":7,"exercises":[{"id":1},{"id":2,"day_id":7}]},
          {"id":8,"exercises":[{"id":3,"day_id":7}]}])",
      day);
  context->save();

  open();
  auto days = all("Day");
  ASSERT_EQ(days.size(), 2u);
  auto exercises = all("Exercise");
  ASSERT_EQ(exercises.size(), 3u);
  EXPECT_EQ(exercises[0]->objectForKey("trainingDay"), days[0]);  // absent key: kept
  EXPECT_EQ(exercises[1]->objectForKey("trainingDay"), days[0]);
  EXPECT_EQ(exercises[2]->objectForKey("trainingDay"), days[0]);  // the key wins over nesting

  // An explicit null clears; an absent key with no stored key leaves it alone.
  map(R"([{"id":1,"day_id":null},{"id":2}])", nested);
  context->save();
  open();
  exercises = all("Exercise");
  EXPECT_EQ(exercises[0]->objectForKey("trainingDay"), nullptr);
  ASSERT_NE(exercises[1]->objectForKey("trainingDay"), nullptr);
  EXPECT_EQ(exercises[1]->objectForKey("trainingDay")->valueForKey("entityID"), Value(7));
}

TEST_F(ManagedObjectDestinationTest, FailuresLeaveTheContextAsItWas) {
  map(R"([{"id":7,"title":"Legs"}])", day);
  map(R"([{"id":1,"name":"Squat","day_id":7}])", exercise);
  exercise->addConnection("trainingDay", "trainingDayId", "entityID");
  map(R"([{"id":1,"day_id":7}])", exercise);
  context->save();

  EXPECT_THROW(map(R"([{"id":1,"name":"x"},{"id":5},6])", exercise), MappingError);
  EXPECT_THROW(map(R"([{"id":1,"name":"x"},)", exercise), MappingError);
  EXPECT_FALSE(context->hasChanges());

  // A write failing part-way is rolled back through the destination's undo log.
  ManagedObjectDestination destination(*context);
  MappingOperation(destination)
      .map(std::string_view(R"([{"id":1,"name":"x","day_id":8},{"id":9,"day_id":7}])"), "",
           exercise);
  ASSERT_EQ(all("Exercise").size(), 2u);
  destination.discardChanges();
  auto rows = all("Exercise");
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_EQ(rows[0]->valueForKey("name"), Value("Squat"));
  ASSERT_TRUE(rows[0]->objectForKey("trainingDay"));
  EXPECT_EQ(rows[0]->objectForKey("trainingDay")->valueForKey("entityID"), Value(7));
  EXPECT_EQ(all("Day")[0]->objectsForKey("exercises").size(), 1u);
}

}  // namespace
}  // namespace dm
