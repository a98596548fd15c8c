// The handbook adapter: update batches from server dictionaries, cached lookups and their
// invalidation on a language change, diet relations, live result sets and removal.
#include <gtest/gtest.h>

#include "Handbook/Entities/DietHandbookRelation.h"
#include "Handbook/Entities/HandbookCategoryEntity.h"
#include "Handbook/Entities/HandbookPostExerciseEntity.h"
#include "Handbook/Entities/HandbookPostProductEntity.h"
#include "Handbook/Entities/HandbookUpdateEntity.h"
#include "Handbook/HandbookTestSupport.h"

namespace dm {
namespace {

using nlohmann::json;

class HandbookAdapterTest : public ::testing::Test {
 protected:
  test::HandbookEnvironment env;
  std::unique_ptr<test::SharedAdapterScope> scope;

  HandbookAdapter& adapter() {
    if (!scope) scope = std::make_unique<test::SharedAdapterScope>(env.storageOptions());
    return scope->adapter();
  }
  HandbookUpdateEntity* apply(const json& dict) {
    auto* batch = adapter().getHandbookUpdateEntityFromRequest(dict);
    adapter().saveAndWait();
    MainQueue::shared().runUntilIdle();
    return batch;
  }
  std::size_t count(const char* entity) {
    FetchRequest request(adapter().storage()->entityNamed(entity));
    return adapter().storage()->count(request);
  }
};

TEST_F(HandbookAdapterTest, NotModifiedMakesNoBatch) {
  json dict = test::smallUpdateDictionary();
  dict["status"] = "not_modified";
  EXPECT_EQ(apply(dict), nullptr);
  EXPECT_EQ(count("HandbookItemEntity"), 0u);
  EXPECT_EQ(adapter().getLastUpdateEntity(), nullptr);
}

TEST_F(HandbookAdapterTest, FixtureUpdateChangesAddsAndSkips) {
  ASSERT_TRUE(apply(test::smallUpdateDictionary()));
  HandbookPostProductEntity* dish = adapter().getPostProductEntity(42);
  ASSERT_TRUE(dish);
  EXPECT_EQ(dish->handbooksForIngredients().size(), 2u);
  ObjectID lungeID = adapter().getPostExerciseEntity(31)->objectID();

  json update = json::parse(test::readFile(test::fixturePath("Handbook/update.json")));
  HandbookUpdateEntity* batch = apply(update);
  ASSERT_TRUE(batch);
  auto& storage = *adapter().storage();
  storage.performOnSavingContextAndWait([&](ManagedObjectContext&) {
    EXPECT_EQ(batch->version(), "2");
    EXPECT_EQ(batch->status(), HandbookStatus::Changed);
    EXPECT_EQ(batch->amountOfChanges(), 5);
    // Categories, then exercises, then products; no FAQ set from the empty array.
    std::vector<std::int64_t> ids;
    for (auto* item : batch->allItems()) ids.push_back(*item->entityID());
    EXPECT_EQ(ids, (std::vector<std::int64_t>{1, 5, 31, 40, 44}));
    EXPECT_EQ(batch->itemsForCache().size(), 3u);
  });
  EXPECT_EQ(count("HandbookCategoryEntity"), 3u);
  EXPECT_EQ(count("HandbookPostExerciseEntity"), 2u);  // skipped elements made nothing
  EXPECT_EQ(count("HandbookPostProductEntity"), 4u);

  auto* lunge = adapter().getPostExerciseEntity(31);
  EXPECT_EQ(lunge->objectID(), lungeID);  // the stored record was reused
  EXPECT_EQ(lunge->title(), "Lunge (moved)");
  EXPECT_EQ(lunge->categoryID(), 5);
  auto* bowl = adapter().getPostProductEntity(44);
  ASSERT_TRUE(bowl);
  EXPECT_FALSE(bowl->isNeedsCache());
  auto ingredients = bowl->ingredients();
  ASSERT_EQ(ingredients.size(), 2u);
  ASSERT_TRUE(ingredients[0].handbookPost);
  EXPECT_EQ(ingredients[0].handbookPost->entityID(), 40);
  EXPECT_EQ(ingredients[1].handbookPost, nullptr);  // 99 is not stored
  // The dish of the first batch was not in this one: its links stay.
  EXPECT_EQ(adapter().getPostEntity(42, 5)->title(), "Rice and beans");
  EXPECT_EQ(adapter().getLastUpdateEntity()->version(), "2");
}

TEST_F(HandbookAdapterTest, EmptyProductArrayLeavesProductsAndLinksAlone) {
  ASSERT_TRUE(apply(test::smallUpdateDictionary()));
  json dict = {{"status", "changed"},
               {"version", "x"},
               {"post_products", json::array()},
               {"post_articles", {{{"id", 20}, {"title", "Cool-down"}}}}};
  HandbookUpdateEntity* batch = apply(dict);
  ASSERT_TRUE(batch);
  adapter().storage()->performOnSavingContextAndWait([&](ManagedObjectContext&) {
    EXPECT_EQ(batch->version(), "x");  // a version that is not a number is kept as sent
    EXPECT_EQ(batch->allItems().size(), 1u);
  });
  EXPECT_EQ(count("HandbookPostProductEntity"), 3u);
  EXPECT_EQ(adapter().getPostProductEntity(42)->handbooksForIngredients().size(), 2u);
  EXPECT_EQ(adapter().getPostEntity(20, 1)->title(), "Cool-down");
}

TEST_F(HandbookAdapterTest, PostLookupsByType) {
  ASSERT_TRUE(apply(test::smallUpdateDictionary()));
  for (int anyType : {0, 7}) EXPECT_TRUE(adapter().getPostEntity(40, anyType)) << anyType;
  EXPECT_FALSE(adapter().getPostEntity(40, 4));
  EXPECT_EQ(adapter().getEntities(4, {"entityID"}).size(), 2u);
  EXPECT_EQ(adapter().getPostProductEntities({40, 41, 77}).size(), 2u);
  EXPECT_EQ(adapter().getFilterTagEntities("muscles").size(), 1u);
  std::vector<HandbookItemEntity*> cached;
  adapter().loadItemEntitiesForCache([&](auto items) { cached = std::move(items); });
  EXPECT_EQ(cached.size(), 7u);  // everything but the three products
}

TEST_F(HandbookAdapterTest, CacheHitsUntilTheLanguageChanges) {
  env.writeSeedPack("en", test::smallUpdateDictionary("en"));
  auto german = test::smallUpdateDictionary("de");
  german["post_products"][0]["title"] = "Reis";
  env.writeSeedPack("de", german);
  // Start in English; the German seed is then fetched when the language changes.
  auto& english = adapter();
  HandbookPostProductEntity* rice = english.getPostProductEntity(40);
  ASSERT_TRUE(rice);
  EXPECT_EQ(english.getPostProductEntity(40), rice);
  EXPECT_FALSE(english.getPostProductEntity(999));

  scope.reset();
  scope = std::make_unique<test::SharedAdapterScope>(env.storageOptions("de"));
  auto& adapterDe = scope->adapter();
  HandbookPostProductEntity* before = adapterDe.getPostProductEntity(40);
  ASSERT_TRUE(before);
  EXPECT_EQ(before->title(), "Rice");  // English until the German seed is installed
  MainQueue::shared().runUntilIdle();  // the seed restore, completion and observers
  HandbookPostProductEntity* after = adapterDe.getPostProductEntity(40);
  ASSERT_TRUE(after);
  EXPECT_NE(after, before);
  EXPECT_EQ(after->title(), "Reis");
  EXPECT_TRUE(adapterDe.isHandbookForCurrentLocalizationWasLoaded());
}

// A lookup that finds nothing is remembered: a record saved behind the adapter's back is not
// seen until the next update batch, which forgets the remembered misses.
TEST_F(HandbookAdapterTest, MissesAreCachedUntilTheNextUpdate) {
  ASSERT_TRUE(apply(test::smallUpdateDictionary()));
  EXPECT_FALSE(adapter().getPostExerciseEntity(77));
  adapter().storage()->performOnSavingContextAndWait([](ManagedObjectContext& context) {
    auto* squat = context.insertNewObject("HandbookPostExerciseEntity");
    squat->setValueForKey("entityID", Value(std::int64_t{77}));
    context.save();
  });
  MainQueue::shared().runUntilIdle();
  EXPECT_FALSE(adapter().getPostExerciseEntity(77));  // the cached miss
  EXPECT_TRUE(adapter().getPostExerciseEntity(31));   // other ids are looked up as usual

  json unrelated = {{"status", "changed"}, {"version", 9}, {"faqs", json::array()}};
  ASSERT_TRUE(apply(unrelated));
  HandbookPostExerciseEntity* found = adapter().getPostExerciseEntity(77);
  ASSERT_TRUE(found);
  EXPECT_EQ(found->entityID(), 77);
}

// One prefetch answers later lookups as each lookup would have: records and misses alike.
TEST_F(HandbookAdapterTest, PrefetchedPostExercisesAnswerLaterLookups) {
  ASSERT_TRUE(apply(test::smallUpdateDictionary()));
  adapter().prefetchPostExerciseEntities({31, 77, 31});
  adapter().storage()->performOnSavingContextAndWait([](ManagedObjectContext& context) {
    context.insertNewObject("HandbookPostExerciseEntity")
        ->setValueForKey("entityID", Value(std::int64_t{77}));
    context.save();
  });
  MainQueue::shared().runUntilIdle();
  EXPECT_FALSE(adapter().getPostExerciseEntity(77));  // the prefetched miss
  HandbookPostExerciseEntity* lunge = adapter().getPostExerciseEntity(31);
  ASSERT_TRUE(lunge);
  EXPECT_EQ(lunge->entityID(), 31);
  adapter().prefetchPostExerciseEntities({31});
  EXPECT_EQ(adapter().getPostExerciseEntity(31), lunge);
}

TEST_F(HandbookAdapterTest, DietRelationsKeepOnlyMatchingProducts) {
  ASSERT_TRUE(apply(test::smallUpdateDictionary()));
  DietHandbookRelation* relation = nullptr;
  adapter().saveProductHandbookRelationships(7, {40, 999}, [&](auto* r) { relation = r; });
  ASSERT_TRUE(relation);
  adapter().saveProductHandbookRelationships(7, {41, 42}, {});
  adapter().saveAndWait();
  MainQueue::shared().runUntilIdle();
  DietHandbookRelation* stored = adapter().getProductHandbookRelationships(7);
  ASSERT_TRUE(stored);
  std::vector<std::int64_t> ids;
  for (auto* p : stored->handbooks()) ids.push_back(*p->entityID());
  std::sort(ids.begin(), ids.end());
  EXPECT_EQ(ids, (std::vector<std::int64_t>{41, 42}));
  EXPECT_EQ(count("DietHandbookRelation"), 1u);
  EXPECT_EQ(adapter().getPostProductEntity(42)->diets().size(), 1u);
}

struct CountingDelegate : FetchedResultsControllerDelegate {
  int changes = 0;
  void controllerDidChangeContent(FetchedResultsController&) override { ++changes; }
};

TEST_F(HandbookAdapterTest, LiveResultsFollowSavedUpdates) {
  CountingDelegate delegate;
  auto controller =
      adapter().getPostEntityFetchedResultsController(5, {"entityID"}, std::nullopt, &delegate);
  EXPECT_EQ(controller->fetchRequest().fetchBatchSize, 20u);
  controller->performFetch();
  EXPECT_TRUE(controller->fetchedObjects().empty());
  ASSERT_TRUE(apply(test::smallUpdateDictionary()));
  EXPECT_EQ(controller->fetchedObjects().size(), 3u);
  EXPECT_GE(delegate.changes, 1);
}

TEST_F(HandbookAdapterTest, RemoveAllEntitiesEmptiesTheStore) {
  ASSERT_TRUE(apply(test::smallUpdateDictionary()));
  ASSERT_TRUE(adapter().getPostProductEntity(40));
  adapter().removeAllEntities();
  // The deletions belong to the main context; push them down and save.
  auto main = adapter().mainContext();
  main->performAndWait([&] { main->save(); });
  adapter().saveAndWait();
  MainQueue::shared().runUntilIdle();
  EXPECT_EQ(count("HandbookItemEntity"), 0u);
  EXPECT_FALSE(adapter().getPostProductEntity(40));
}

}  // namespace
}  // namespace dm
