// Records a course prescribes besides diets (pharmacy, sport food), the product-list answer
// tree, and the request bodies whose values are not just their keys (every record's keys are
// checked against the model in ModelDeclarationsTests).
#include <gtest/gtest.h>

#include "Handbook/Entities/HandbookPostEntity.h"
#include "Handbook/Entities/HandbookPostProductEntity.h"
#include "Handbook/HandbookPostPharmacyEntity.h"
#include "Handbook/HandbookPostSportFoodEntity.h"
#include "Nutrition/NutritionTestSupport.h"
#include "Nutrition/PharmacyAddRequest.h"
#include "Nutrition/PharmacyEntity.h"
#include "Nutrition/PharmacyUpdateRequest.h"
#include "Nutrition/ProductListAnswer.h"
#include "Nutrition/ProductListHandbook.h"
#include "Nutrition/SportFoodEntity.h"
#include "Nutrition/SportFoodUpdateRequest.h"
#include "Nutrition/TempDietProduct.h"
#include "Platform/ObjectMapping/MappingError.h"
#include "Platform/ObjectMapping/MappingOperation.h"

namespace dm {
namespace {

using nlohmann::json;

class CourseNutritionTest : public test::NutritionStoreTest {
 protected:
  void SetUp() override {
    NutritionStoreTest::SetUp();
    HandbookAdapter::shared().getHandbookUpdateEntityFromRequest(json::parse(R"({
      "status": "changed", "version": 2,
      "post_pharmacies": [{"id": 301, "title": "Magnesium citrate", "status": "published",
                           "language": "en"}],
      "post_sport_foods": [{"id": 401, "title": "Whey protein", "status": "published",
                            "language": "en"}]})"));
    settleHandbook();
  }
};

TEST_F(CourseNutritionTest, PharmacyAndSportFoodMapAndFindTheirHandbookEntries) {
  perform([&] {
    auto pharmacies = map("PharmacyEntity", R"({"pharmacies": [
      {"id": 1, "post_pharmacy_id": 301, "useDate": "2024-03-31T12:00:00Z", "comment": "at night"},
      {"id": 2, "post_pharmacy_id": 999}]})",
                          "pharmacies");
    ASSERT_EQ(pharmacies.size(), 2u);
    auto* magnesium = dynamic_cast<PharmacyEntity*>(pharmacies[0]);
    EXPECT_EQ(magnesium->comment(), "at night");
    ASSERT_TRUE(magnesium->handbookPost());
    EXPECT_EQ(magnesium->handbookPost()->title(), "Magnesium citrate");
    EXPECT_EQ(magnesium->monthKey(), "202403");
    auto* unknown = dynamic_cast<PharmacyEntity*>(pharmacies[1]);
    EXPECT_EQ(unknown->handbookPost(), nullptr);
    EXPECT_EQ(unknown->monthKey(), "000001");

    auto sport = map("SportFoodEntity", R"({"sport_foods": [
      {"id": 5, "post_sport_food_id": 401, "comment": "after training"}]})",
                     "sport_foods");
    ASSERT_EQ(sport.size(), 1u);
    auto* whey = dynamic_cast<SportFoodEntity*>(sport[0]);
    ASSERT_TRUE(whey->handbookPost());
    EXPECT_EQ(whey->handbookPost()->title(), "Whey protein");
    EXPECT_EQ(context->executeFetchRequest(SportFoodEntity::fetchRequest(context->model())).size(),
              1u);
  });
}

TEST_F(CourseNutritionTest, ProductListAnswerMapsCategoriesProductsAndDishesInOrder) {
  auto categories = productListCategoriesFromAnswer(R"({"categories": [
    {"id": 3, "products": [
      {"post_product_id": 10, "weight": 150, "dishes": [
        {"post_product_id": 11, "weight": 80}, {"post_product_id": 999, "weight": 20}]},
      {"post_product_id": 13, "weight": 200}]},
    {"id": 4, "products": []},
    {"id": 5}]})");
  ASSERT_EQ(categories.size(), 3u);
  EXPECT_EQ(categories[0]->categoryId(), 3);
  auto products = categories[0]->products();
  ASSERT_EQ(products.size(), 2u);
  EXPECT_EQ(products[0]->postProductId(), 10);
  EXPECT_DOUBLE_EQ(products[0]->weight(), 150);
  auto dishes = products[0]->dishes();
  ASSERT_EQ(dishes.size(), 2u);
  EXPECT_EQ(dishes[0]->postProductId(), 11);
  EXPECT_DOUBLE_EQ(dishes[1]->weight(), 20);
  EXPECT_TRUE(products[1]->dishes().empty());
  EXPECT_TRUE(categories[1]->products().empty());
  EXPECT_TRUE(categories[2]->products().empty());

  // Handbook products by number; unknown numbers find nothing.
  ASSERT_TRUE(handbookPost(*products[0]));
  EXPECT_EQ(handbookPost(*products[0])->title(), "Rice, raw, milled");
  EXPECT_EQ(handbookPost(*dishes[0])->title(), "Lentil, whole");
  EXPECT_EQ(handbookPost(*dishes[1]), nullptr);
}

TEST_F(CourseNutritionTest, ProductListAnswerRefusesOrSkipsBadValues) {
  const char* answer = R"({"categories": [{"id": 3, "products": [
    {"post_product_id": "ten", "weight": 150}, {"post_product_id": 13, "weight": 200}]}]})";
  MappingOptions strict;
  strict.skipInvalidValues = false;
  EXPECT_THROW(productListCategoriesFromAnswer(answer, "categories", strict), MappingError);
  EXPECT_THROW(productListCategoriesFromAnswer("{not json", "categories"), MappingError);
  auto lenient = productListCategoriesFromAnswer(answer);
  ASSERT_EQ(lenient.size(), 1u);
  auto products = lenient[0]->products();
  ASSERT_EQ(products.size(), 2u);
  EXPECT_FALSE(products[0]->hasPostProductId());
  EXPECT_EQ(handbookPost(*products[0]), nullptr);
  EXPECT_EQ(products[1]->postProductId(), 13);
}

TEST(NutritionRequestBodies, WholeSecondDatesAndAnEditedLineWithoutProduct) {
  auto pharmacy = std::make_shared<PharmacyAddRequest>();
  pharmacy->setUse_date(Date(1709640000));
  pharmacy->setComment("after meals");
  pharmacy->setPost_pharmacy_id(301);
  EXPECT_EQ(pharmacy->serialized().toJson(), json::parse(R"({"pharmacy": {
    "use_date": "2024-03-05T12:00:00Z", "comment": "after meals", "post_pharmacy_id": 301}})"));

  // The editor's line without a handbook product sends no product id.
  TempDietProduct editing(nullptr, 80.0, "");
  EXPECT_EQ(withTempProduct(editing)->serialized().toJson(),
            json::parse(R"({"product_portion": 80.0, "comment": ""})"));
}

// An edit goes to another route with the body of a new item: the update requests inherit the
// root key as well as the keys.
TEST(NutritionRequestBodies, UpdatesSendTheBodyOfANewItem) {
  auto sportFood = std::make_shared<SportFoodUpdateRequest>();
  sportFood->setComment("30 g after training");
  sportFood->setPost_sport_food_id(401);
  EXPECT_EQ(sportFood->serialized().toJson(), json::parse(R"({"sport_food": {
    "comment": "30 g after training", "post_sport_food_id": 401}})"));

  auto pharmacy = std::make_shared<PharmacyUpdateRequest>();
  pharmacy->setPost_pharmacy_id(301);
  EXPECT_EQ(pharmacy->serialized().toJson(),
            json::parse(R"({"pharmacy": {"post_pharmacy_id": 301}})"));
}

}  // namespace
}  // namespace dm
