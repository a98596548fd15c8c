// Stored records: identifier and status accessors, value copying, "delete all except".
#include <gtest/gtest.h>

#include "RecordsTestSupport.h"

namespace dm::test {
namespace {

const BaseMappableEntity::Class& itemClass() {
  return dynamic_cast<const BaseMappableEntity::Class&>(
      *RecordClasses::classNamed("RecordsItemEntity"));
}

std::vector<std::int64_t> storedItemIDs(ManagedObjectContext& context) {
  FetchRequest request(context.model().entityNamed("RecordsItem"));
  request.sortDescriptors = {{"entityID", true}};
  std::vector<std::int64_t> ids;
  for (auto* object : context.executeFetchRequest(request))
    ids.push_back(object->valueForKey("entityID").asInt64());
  return ids;
}

// Saves items with ids [1, count] and one coach.
void insertItems(ManagedObjectContext& context, int count) {
  for (int id = 1; id <= count; ++id) {
    auto* item = context.insertNew<RecordsItemEntity>("RecordsItem");
    item->setEntityID(id);
  }
  context.insertNew<BaseMappableEntity>("RecordsCoach")->setEntityID(1);
  context.save();
}

TEST(EntityRecordsTest, StoreInstantiatesRegisteredClassesWithStatusAccessors) {
  RecordsFixture fixture;
  fixture.perform([&] {
    auto* workout = fixture.context().insertNew<RecordsWorkoutEntity>("RecordsWorkout");
    ASSERT_NE(workout, nullptr);
    EXPECT_FALSE(workout->hasEntityID());
    EXPECT_EQ(workout->entityStatus(), EntityStatus::None);
    workout->setEntityStatus(EntityStatus::Deleted);
    EXPECT_EQ(workout->entityStatusString(), "deleted");
    EXPECT_EQ(workout->entityStatus(), EntityStatus::Deleted);
    workout->setEntityStatusString("archived");  // not a code of the table
    EXPECT_EQ(workout->entityStatus(), EntityStatus::None);
    workout->setEntitySyncState(2);
    workout->setGuid("g-1");
    workout->setEntityID(7);
    fixture.context().save();
    fixture.context().reset();

    FetchRequest request(fixture.context().model().entityNamed("RecordsWorkout"));
    auto found = fixture.context().executeFetchRequest(request);
    ASSERT_EQ(found.size(), 1u);
    auto* reread = dynamic_cast<RecordsWorkoutEntity*>(found[0]);
    ASSERT_NE(reread, nullptr);
    EXPECT_EQ(reread->entityID(), 7);
    EXPECT_EQ(reread->guid(), "g-1");
    EXPECT_EQ(reread->entitySyncState(), 2);
    EXPECT_EQ(reread->recordClass()->name(), "RecordsWorkoutEntity");
  });
}

TEST(EntityRecordsTest, CopyValuesCopiesAttributesButNotRelationships) {
  RecordsFixture fixture;
  fixture.perform([&] {
    auto& context = fixture.context();
    auto* source = context.insertNew<RecordsItemEntity>("RecordsItem");
    source->setEntityID(3);
    source->setValueForKey("name", Value("Squat"));
    source->setValueForKey("weight", Value(80.5));
    auto* workout = context.insertNew<RecordsWorkoutEntity>("RecordsWorkout");
    source->setObjectForKey("workout", workout);

    auto* target = context.insertNew<RecordsItemEntity>("RecordsItem");
    target->setValueForKey("name", Value("old"));
    EXPECT_EQ(&target->copyValuesFromObject(*source), target);
    EXPECT_EQ(target->entityID(), 3);
    EXPECT_EQ(target->valueForKey("name").asString(), "Squat");
    EXPECT_EQ(target->valueForKey("weight").asDouble(), 80.5);
    EXPECT_EQ(target->objectForKey("workout"), nullptr);
  });
}

TEST(EntityRecordsTest, DeleteAllExceptKeepsListedRecordsAndDropsUnsavedOnes) {
  RecordsFixture fixture;
  fixture.perform([&] {
    auto& context = fixture.context();
    insertItems(context, 6);
    auto existing =
        context.executeFetchRequest(FetchRequest(context.model().entityNamed("RecordsItem")));
    std::vector<RecordsItemEntity*> kept;
    for (auto* object : existing) {
      auto* item = dynamic_cast<RecordsItemEntity*>(object);
      if (item->entityID() % 2 == 0) kept.push_back(item);
    }
    auto* unsavedKept = context.insertNew<RecordsItemEntity>("RecordsItem");
    unsavedKept->setEntityID(100);
    kept.push_back(unsavedKept);
    context.insertNew<RecordsItemEntity>("RecordsItem");  // no identifier: not kept
    auto* noID = context.insertNew<RecordsItemEntity>("RecordsItem");
    kept.push_back(noID);  // listed, but without an identifier it keeps nothing

    EXPECT_EQ(itemClass().deleteAllObjectsForEntityExept(kept, context), 5u);
    context.save();
    EXPECT_EQ(storedItemIDs(context), (std::vector<std::int64_t>{2, 4, 6, 100}));
    FetchRequest coaches(context.model().entityNamed("RecordsCoach"));
    EXPECT_EQ(context.countForFetchRequest(coaches), 1u);  // other entities untouched
  });
}

// Deleting through the context applies the model's cascade, and nothing reaches the file
// before the caller saves: not saving leaves every row where it was.
TEST(EntityRecordsTest, DeleteAllExceptCascadesAndWaitsForTheCallersSave) {
  RecordsFixture fixture;
  const auto& workoutClass = dynamic_cast<const BaseMappableEntity::Class&>(
      *RecordClasses::classNamed("RecordsWorkoutEntity"));
  auto rowCount = [&](const char* entity) {
    // A separate store connection reads what the file holds.
    auto reader = PersistentStore::open(recordsModel(), StoreType::SQLite,
                                        (fixture.dir / "Records.sqlite").string());
    auto context = ManagedObjectContext::createRoot(reader, ConcurrencyType::PrivateQueue, "r");
    std::size_t count = 0;
    context->performAndWait([&] {
      count = context->countForFetchRequest(FetchRequest(context->model().entityNamed(entity)));
    });
    return count;
  };
  std::vector<ManagedObject*> kept;
  fixture.perform([&] {
    auto& context = fixture.context();
    for (int w = 1; w <= 3; ++w) {
      auto* workout = context.insertNew<RecordsWorkoutEntity>("RecordsWorkout");
      workout->setEntityID(w);
      for (int i = 0; i < 2; ++i) {
        auto* item = context.insertNew<RecordsItemEntity>("RecordsItem");
        item->setEntityID(w * 10 + i);
        item->setObjectForKey("workout", workout);
      }
      if (w == 2) kept.push_back(workout);
    }
    context.save();
  });
  const std::vector<const ManagedObject*> keptConst(kept.begin(), kept.end());

  fixture.perform([&] {
    EXPECT_EQ(workoutClass.deleteAllObjectsForEntityExept(keptConst, fixture.context()), 2u);
    EXPECT_EQ(fixture.context().deletedObjects().size(), 6u);  // 2 workouts + their 4 items
  });
  EXPECT_EQ(rowCount("RecordsWorkout"), 3u);
  EXPECT_EQ(rowCount("RecordsItem"), 6u);
  fixture.perform([&] { fixture.context().reset(); });  // the caller changes its mind
  EXPECT_EQ(rowCount("RecordsItem"), 6u);

  // The default-context form, then the caller's save.
  EXPECT_EQ(workoutClass.deleteAllObjectsForEntityExept(std::vector<const ManagedObject*>{}), 3u);
  fixture.perform([&] { fixture.context().save(); });
  EXPECT_EQ(rowCount("RecordsWorkout"), 0u);
  EXPECT_EQ(rowCount("RecordsItem"), 0u);
}

TEST(EntityRecordsTest, DeleteAllExceptWithALargeKeptList) {
  RecordsFixture fixture;
  fixture.perform([&] {
    auto& context = fixture.context();
    insertItems(context, 3000);
    // 100k kept identifiers, of which only the odd stored ones exist.
    std::vector<std::int64_t> kept;
    for (std::int64_t id = 1; id <= 3000; id += 2) kept.push_back(id);
    for (std::int64_t id = 1'000'000; kept.size() < 100'000; ++id) kept.push_back(id);
    EXPECT_EQ(itemClass().deleteAllObjectsForEntityExeptIdentifiers(kept, context), 1500u);
    context.save();
    auto ids = storedItemIDs(context);
    ASSERT_EQ(ids.size(), 1500u);
    EXPECT_EQ(ids.front(), 1);
    EXPECT_EQ(ids.back(), 2999);
  });
}

TEST(EntityRecordsTest, DeleteAllExceptForAClassWithoutEntityDeletesNothing) {
  RecordsFixture fixture;
  const RecordClass& orphan = RecordClasses::registerClass(
      std::make_unique<BaseMappableEntity::Class>("RecordsOrphanEntity", "BaseMappableEntity"));
  fixture.perform([&] {
    insertItems(fixture.context(), 2);
    EXPECT_EQ(dynamic_cast<const BaseMappableEntity::Class&>(orphan).deleteAllObjectsForEntityExept(
                  std::vector<const ManagedObject*>{}, fixture.context()),
              0u);
    EXPECT_EQ(storedItemIDs(fixture.context()).size(), 2u);
  });
}

}  // namespace
}  // namespace dm::test
