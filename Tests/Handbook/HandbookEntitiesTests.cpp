// Handbook records: filling from dictionaries, grades at their bounds, addresses, tags,
// recipe steps, ingredients and the temporary-id probe.
#include <gtest/gtest.h>

#include "Handbook/Entities/HandbookCategoryEntity.h"
#include "Handbook/Entities/HandbookFilterTagEntity.h"
#include "Handbook/Entities/HandbookMedia.h"
#include "Handbook/Entities/HandbookPostExerciseEntity.h"
#include "Handbook/Entities/HandbookPostProductEntity.h"
#include "Handbook/Entities/HandbookUpdateEntity.h"
#include "Handbook/HandbookTestSupport.h"
#include "Platform/Foundation/DiagnosticEvents.h"
#include "Platform/Foundation/Logger.h"
#include "Platform/Foundation/MD5.h"

namespace dm {
namespace {

using nlohmann::json;

class HandbookEntitiesTest : public ::testing::Test {
 protected:
  test::HandbookEnvironment env;
  test::SharedAdapterScope scope{env.storageOptions()};
  std::shared_ptr<ManagedObjectContext> main = scope.adapter().mainContext();

  template <typename T>
  T* make(const json& dict) {
    return HandbookItemEntity::createWithEntity<T>(nullptr, *main, dict);
  }
  HandbookPostProductEntity* product(const json& extra) {
    json dict = {{"id", 1}};
    if (extra.is_object()) dict.update(extra);
    return make<HandbookPostProductEntity>(dict);
  }
};

TEST_F(HandbookEntitiesTest, FillTypesAndKindStep) {
  auto* food = product({{"is_needs_cache", true},
                        {"title", 5},
                        {"weight", 2.9},
                        {"created_at", "2026-01-02T03:04:05Z"},
                        {"calories", "12"}});
  EXPECT_FALSE(food->isNeedsCache());
  EXPECT_EQ(food->title(), "");
  EXPECT_EQ(food->weight(), 2);
  ASSERT_TRUE(food->createdAt());
  EXPECT_FALSE(food->updatedAt());
  EXPECT_FALSE(food->calories());
  auto* article = make<HandbookPostArticleEntity>({{"id", 7u}, {"is_needs_cache", false}});
  EXPECT_TRUE(article->isNeedsCache());
  EXPECT_EQ(article->entityID(), 7);
  EXPECT_EQ(article->postType(), HandbookPostType::Article);
  EXPECT_TRUE(article->isPost());
  EXPECT_FALSE(article->isCategory());
  // Refilling an existing record replaces every field, including ones now absent.
  HandbookItemEntity::createWithEntity(article, *main, json{{"id", 7}, {"title", "x"}});
  EXPECT_EQ(article->title(), "x");
}

// Identifiers and the other unsigned numbers refuse what is not an unsigned integer of the
// store instead of keeping a negative or wrapped-around value.
TEST_F(HandbookEntitiesTest, UnsignedNumbersRejectNegativeAndOversizedValues) {
  auto* squat = make<HandbookPostExerciseEntity>(
      {{"id", -5}, {"weight", -1.5}, {"category_id", -0.5}, {"equipment_type", -2}});
  EXPECT_FALSE(squat->entityID());
  EXPECT_FALSE(squat->weight());
  EXPECT_EQ(squat->categoryID(), 0);  // -0.5 truncates to 0, which is unsigned
  EXPECT_FALSE(squat->equipmentType());
  auto* huge = make<HandbookCategoryEntity>(
      {{"id", 18446744073709551615u}, {"parent_id", 1e19}, {"weight", 9223372036854775807}});
  EXPECT_FALSE(huge->entityID());
  EXPECT_FALSE(huge->parentID());
  EXPECT_EQ(huge->weight(), 9223372036854775807);
  auto* fine = make<HandbookCategoryEntity>({{"id", 12.9}, {"parent_id", 0}});
  EXPECT_EQ(fine->entityID(), 12);
  EXPECT_EQ(fine->parentID(), 0);
}

TEST_F(HandbookEntitiesTest, IndexGradesAtTheirBounds) {
  struct Case {
    int type;
    double value;
    int grade;
  };
  const char* keys[] = {"glycemia_index", "density_of_calories_index", "inflammatory_factor",
                        "antioxidant"};
  for (Case c : {Case{0, 55, 2},
                 {0, 55.5, 3},
                 {0, 69, 3},
                 {0, 69.5, 4},
                 {1, 0.5, 1},
                 {1, 1, 2},
                 {1, 2, 3},
                 {1, 3, 4},
                 {1, 3.01, 5},
                 {2, -500, 2},
                 {2, 500, 3},
                 {2, 501, 4},
                 {3, 1000, 2},
                 {3, 10000, 3},
                 {3, 10001, 4}}) {
    auto* p = product({{keys[c.type], c.value}});
    EXPECT_EQ(p->indexStatus(c.type), c.grade) << c.type << " " << c.value;
  }
  auto* p = product({{"glycemia_index", 60},
                     {"density_of_calories_index", 1.5},
                     {"inflammatory_factor", 1000},
                     {"antioxidant", 5000}});
  EXPECT_FLOAT_EQ(p->indexPercent(0), 0.5f);
  EXPECT_FLOAT_EQ(p->indexPercent(1), 0.25f);
  EXPECT_FLOAT_EQ(p->indexPercent(2), 0.75f);
  EXPECT_FLOAT_EQ(p->indexPercent(3), 0.5f);
  EXPECT_EQ(p->indexStatus(4), 0);
  EXPECT_EQ(p->indexPercent(-1), 0);
  EXPECT_EQ(p->indexStringValueForType(1), "1.50");
  EXPECT_EQ(p->indexStringValueForType(0), "60");
  auto* empty = product({});
  EXPECT_EQ(empty->indexStatus(0), 0);
  EXPECT_EQ(empty->indexPercent(2), 0);
  EXPECT_FALSE(empty->nutritionValueForType(26));
  EXPECT_EQ(empty->calculatedWeight(), 100);
}

TEST_F(HandbookEntitiesTest, NutrientsFollowTheirTypeNumbers) {
  auto* p = product({{"calories", 1}, {"zinc", 26}, {"vitamin_b12", 13}});
  EXPECT_EQ(p->nutritionValueForType(0), 1);
  EXPECT_EQ(p->nutritionValueForType(12), 13);
  EXPECT_EQ(p->nutritionValueForType(25), 26);
  EXPECT_FALSE(p->nutritionValueForType(-1));
}

TEST_F(HandbookEntitiesTest, PhotoAddresses) {
  auto* item = product({{"photo", "https://cdn.example/img/dir/a.jpg"},
                        {"background_photo", "https://cdn.example/img/b"}});
  EXPECT_EQ(item->thumbnailPhoto(), "https://cdn.example/img/dir/a_thumb_3x.jpg");
  EXPECT_EQ(item->thumbnailBackgroundPhoto(), "https://cdn.example/img/b_thumb_3x.");
  EXPECT_EQ(item->photoURL(), "https://cdn.example/img/dir/a.jpg");

  // A bundled resource named by the MD5 of the address wins; then a legacy cache hit.
  auto media = std::make_shared<HandbookMediaEnvironment>();
  media->resourcesDirectory = env.dir / "resources";
  media->mediaBaseURL = "https://media.test";
  media->imageCacheContains = [](const std::string& key) {
    return key == "https://media.test/img/b";
  };
  HandbookMediaEnvironment::setShared(media);
  std::filesystem::create_directories(media->resourcesDirectory);
  test::writeFile(media->resourcesDirectory / md5Hex("https://cdn.example/img/dir/a.jpg"), "x");
  EXPECT_EQ(item->photoURL().rfind("file://", 0), 0u);
  item->setPhoto("https://cdn.example/img/b");
  EXPECT_EQ(item->photoURL(), "https://media.test/img/b");
  EXPECT_EQ(item->legacyCacheKeysForURL("https://x.test/p/q.png?z=1"),
            std::vector<std::string>{"https://media.test/p/q.png"});
  HandbookMediaEnvironment::setShared(nullptr);

  item->setPhoto("not a url");
  EXPECT_EQ(item->photoURL(), "");
  EXPECT_EQ(item->thumbnailPhoto(), "");
  item->setPhoto(" https://cdn.example/{size}/p.jpg\n");
  EXPECT_EQ(item->bigPhotoUrl(), "https://cdn.example/1400x1040/p.jpg");
  EXPECT_EQ(item->smallPhotoUrl(), "https://cdn.example/600x233/p.jpg");
  item->setPhoto("https://cdn.example/p.jpg ");
  EXPECT_EQ(item->photoUrlWithSize("1x1"), "https://cdn.example/p.jpg");
}

TEST_F(HandbookEntitiesTest, TagsAreParsedAndGroupedByType) {
  auto& adapter = scope.adapter();
  json dict = {{"status", "changed"},
               {"filter_tags",
                {{{"id", 3}, {"title", "Bar"}, {"type", "equipment"}},
                 {{"id", 4}, {"title", "Gym"}, {"type", "location"}},
                 {{"id", 5}, {"title", "Home"}, {"type", "location"}},
                 {{"id", 6}, {"title", ""}, {"type", "location"}},
                 {{"id", 7}, {"title", "Odd"}, {"type", "other"}}}},
               {"post_exercises", {{{"id", 9}, {"filter_tag_ids", "3,x,5,4,6,7"}}}}};
  ASSERT_TRUE(adapter.getHandbookUpdateEntityFromRequest(dict));
  adapter.saveAndWait();
  MainQueue::shared().runUntilIdle();
  auto* exercise = adapter.getPostExerciseEntity(9);
  ASSERT_TRUE(exercise);
  EXPECT_EQ(exercise->tagIds(), (std::vector<std::int64_t>{3, 0, 5, 4, 6, 7}));
  std::vector<std::int64_t> ids;
  for (auto* tag : exercise->tags()) ids.push_back(*tag->entityID());
  // Locations (1) before equipment (3); within a type the id order of the text stays.
  EXPECT_EQ(ids, (std::vector<std::int64_t>{5, 4, 3}));
  auto locations = HandbookFilterTagEntity::allEntitiesWithType(HandbookFilterTagType::Location);
  ASSERT_EQ(locations.size(), 3u);
  EXPECT_EQ(*locations.front()->entityID(), 4);
  EXPECT_EQ(HandbookFilterTagEntity::typeStringFromType(2), "muscles");
  EXPECT_EQ(HandbookFilterTagEntity::typeStringFromType(4), "");
}

TEST_F(HandbookEntitiesTest, ExerciseStepsVideosAndInstruction) {
  auto* exercise =
      make<HandbookPostExerciseEntity>({{"id", 1},
                                        {"execution_order", {"a", "b"}},
                                        {"preview_video", "https://v.test/p.mp4"},
                                        {"dark_video", "https://v.test/d.mp4"},
                                        {"exercise_type", "cardio"},
                                        {"video_instruction", {{"start", 1}, {"gone", nullptr}}}});
  ASSERT_EQ(exercise->orders().size(), 2u);
  exercise->setOrders({});
  EXPECT_TRUE(exercise->orders().empty());
  EXPECT_EQ(exercise->videoURL(), "https://v.test/p.mp4");
  EXPECT_EQ(exercise->darkPreviewVideoURL(), "https://v.test/d.mp4");
  EXPECT_EQ(exercise->exerciseType(), ExerciseType::Cardio);
  auto instruction = exercise->videoInstructionModel();
  EXPECT_EQ(instruction.dict.size(), 2u);
  EXPECT_EQ(instruction.list.size(), 1u);
  auto media = std::make_shared<HandbookMediaEnvironment>();
  media->isDarkInterface = [] { return true; };
  HandbookMediaEnvironment::setShared(media);
  EXPECT_EQ(exercise->previewVideoURLForCurrentAppereance(), "https://v.test/d.mp4");
  HandbookMediaEnvironment::setShared(nullptr);
  auto* bare = make<HandbookPostExerciseEntity>({{"id", 2}, {"execution_order", "x"}});
  EXPECT_TRUE(bare->orders().empty());
  EXPECT_EQ(bare->videoURL(), "");
  EXPECT_FALSE(bare->exerciseType());
}

TEST_F(HandbookEntitiesTest, TemporaryIdProbeReportsItsCaller) {
  auto events = std::make_shared<RecordingDiagnosticEvents>();
  DiagnosticEvents::setShared(events);
  auto* exercise = make<HandbookPostExerciseEntity>({{"id", 1}});
  EXPECT_TRUE(exercise->isTemporaryID());
  main->performAndWait([&] { main->obtainPermanentIDs({exercise}); });
  EXPECT_FALSE(exercise->isTemporaryID());
  DiagnosticEvents::setShared(nullptr);
  auto recorded = events->events();
  ASSERT_EQ(recorded.size(), 2u);
  const std::string caller = recorded[0].parameters.at("caller");
  EXPECT_FALSE(caller.empty());
  EXPECT_EQ(recorded[0].description,
            "isTemporaryID for HandbookPostExerciseEntity was called from " + caller);
}

TEST_F(HandbookEntitiesTest, RecipeStepsAndIngredients) {
  auto logger = std::make_shared<RecordingLogger>();
  Logger::setShared(logger);
  auto* dish = product(
      {{"receipt", {"one", "two"}}, {"ingredients", {{{"post_product_id", 5}, {"weight", 2.5}}}}});
  EXPECT_EQ(dish->receiptStrings(), (std::vector<std::string>{"one", "two"}));
  auto ingredients = dish->ingredients();
  ASSERT_EQ(ingredients.size(), 1u);
  EXPECT_EQ(ingredients[0].postProductId, 5);
  EXPECT_FLOAT_EQ(ingredients[0].weight, 2.5f);
  EXPECT_EQ(ingredients[0].handbookPost, nullptr);

  auto* broken = product({{"receipt", {1, 2}}});
  EXPECT_TRUE(broken->receiptStrings().empty());
  EXPECT_TRUE(logger->contains(LogLevel::Debug, "Failed to load: "));
  // One malformed element fails the whole list.
  std::string bad = R"([{"post_product_id": 1, "weight": 1}, {"weight": 2}])";
  EXPECT_TRUE(IngredientEntity::parseFromData(Blob(bad.begin(), bad.end())).empty());
  EXPECT_TRUE(logger->contains(LogLevel::Debug, "Failed to load IngredientEntity: "));
  Logger::setShared(nullptr);
}

TEST_F(HandbookEntitiesTest, CategoryQueriesDescendOneLevel) {
  auto& adapter = scope.adapter();
  json dict = test::smallUpdateDictionary();
  dict["categories"].push_back({{"id", 3}, {"parent_id", 2}, {"status", "published"}});
  ASSERT_TRUE(adapter.getHandbookUpdateEntityFromRequest(dict));
  adapter.saveAndWait();
  MainQueue::shared().runUntilIdle();
  auto roots = HandbookCategoryEntity::subcategoriesForCategory(nullptr);
  ASSERT_EQ(roots.size(), 1u);
  HandbookCategoryEntity* root = roots.front();
  EXPECT_EQ(root->postType(), HandbookPostType::Exercise);
  EXPECT_EQ(root->subcategoriesCount(), 1u);
  auto predicate = HandbookPostEntity::recursivePostsPredicateForCategory(root);
  ASSERT_EQ(predicate.subpredicates().size(), 2u);  // the subcategory, then the root itself
  EXPECT_EQ(adapter.getPostEntitiesCount(predicate), 3u);
  HandbookCategoryEntity* leaf = adapter.getCategoryEntity(3);
  ASSERT_TRUE(leaf);
  EXPECT_EQ(HandbookPostEntity::recursivePostsPredicateForCategory(leaf).subpredicates().size(),
            1u);
  auto posts = HandbookPostEntity::postsForCategory(root->subcategories().front());
  ASSERT_EQ(posts.size(), 2u);
  EXPECT_EQ(posts[0]->category(), root->subcategories().front());
}

}  // namespace
}  // namespace dm
