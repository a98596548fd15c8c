// Request bodies the nutrition screens build from stored diets and meals, compared with bodies
// written out by hand, and the month grouping of pharmacy items.
#include <gtest/gtest.h>

#include "Nutrition/DietEntity.h"
#include "Nutrition/DietMealEntity.h"
#include "Nutrition/DietMealUpdateRequest.h"
#include "Nutrition/DietProductEntity.h"
#include "Nutrition/DietProductUpdateRequest.h"
#include "Nutrition/DietRequestBuilders.h"
#include "Nutrition/DietWholeUpload.h"
#include "Nutrition/NutritionTestSupport.h"
#include "Nutrition/PharmacyAddRequest.h"
#include "Nutrition/PharmacyEntity.h"
#include "Platform/Foundation/DateFormatting.h"

namespace dm {
namespace {

using nlohmann::json;

class NutritionRequestsTest : public test::ProfileStoreTest {};

TEST_F(NutritionRequestsTest, WholeDayUploadSendsEveryMealUnderDiet) {
  perform([&] {
    auto* diet = insert<DietEntity>();
    diet->setDesiredFats(70);
    diet->setDesiredCalories(2200);
    auto* meal = insert<DietMealEntity>();
    meal->setConsumeTime("08:15");
    diet->addMealsObject(meal);
    auto add = [&](std::int64_t handbookId, double portion, const char* comment) {
      auto* product = insert<DietProductEntity>();
      product->setHandbookPostID(handbookId);
      product->setAmountToConsume(portion);
      if (comment) product->setComment(comment);
      meal->addProductsObject(product);
    };
    add(13, 200, "warm");
    add(10, 150, nullptr);
    EXPECT_EQ(requestWithDiet(*diet, "Tuesday ")->serialized().toJson(), json::parse(R"({"diet": {
      "common_advices": "", "week": "Tuesday ",
      "desired_fats_amount": 70.0, "desired_energy_value": 2200.0,
      "meals": [{"time": "08:15", "products": [
        {"post_product_id": 13, "product_portion": 200.0, "comment": "warm"},
        {"post_product_id": 10, "product_portion": 150.0}]}]}})"));

    meal->clearConsumeTime();
    diet->setCommonRecommendations("Less sugar");
    auto body = requestWithDiet(*diet, "mon")->serialized().toJson();
    EXPECT_EQ((*body)["diet"]["common_advices"], "Less sugar");
    EXPECT_FALSE((*body)["diet"]["meals"][0].contains("time"));
    EXPECT_EQ(requestWithDiet(*insert<DietEntity>(), "mon")->serialized().toJson(),
              json::parse(R"({"diet": {"common_advices": "", "week": "mon", "meals": []}})"));
  });
}

TEST_F(NutritionRequestsTest, DietAndMealRequestsCarryTheirKeys) {
  perform([&] {
    auto* diet = insert<DietEntity>();
    diet->setCommonRecommendations("Sleep more");
    diet->setDesiredFats(60);
    diet->setDesiredCalories(2000);
    diet->setDesiredProteins(120);
    diet->setDesiredCarbohydrates(230);
    EXPECT_EQ(requestWithRecommendationsAndNutrition(*diet)->serialized().toJson(),
              json::parse(R"({"diet": {"common_advices": "Sleep more",
                "desired_fats_amount": 60.0, "desired_energy_value": 2000.0,
                "desired_protein_amount": 120.0, "desired_carbohydrate_amount": 230.0}})"));
  });
  EXPECT_EQ(requestWithRecommendations("Walk")->serialized().toJson(),
            json::parse(R"({"diet": {"common_advices": "Walk"}})"));

  auto rice = std::make_shared<DietProductAddRequest>();
  rice->setPost_product_id(10);
  rice->setProduct_portion(150);
  auto milk = std::make_shared<DietProductUpdateRequest>();
  milk->setPost_product_id(13);
  milk->setComment("warm");
  EXPECT_EQ(
      requestWithConsumeTime<DietMealUpdateRequest>("12:00", {rice, milk})->serialized().toJson(),
      json::parse(R"({"meal": {"time": "12:00", "products": [
              {"product": {"post_product_id": 10, "product_portion": 150.0}},
              {"product": {"post_product_id": 13, "comment": "warm"}}]}})"));
  EXPECT_EQ(requestWithConsumeTime("07:00")->serialized().toJson(),
            json::parse(R"({"meal": {"time": "07:00", "products": []}})"));
}

TEST(PharmacyMonthKey, GroupsByMonthAndSortsUndatedFirst) {
  EXPECT_EQ(PharmacyEntity::monthKeyForDate(std::nullopt), "000001");
  auto first = dateFromString("2024-03-01 12:00", "yyyy-MM-dd HH:mm");
  auto last = dateFromString("2024-03-31 12:00", "yyyy-MM-dd HH:mm");
  ASSERT_TRUE(first && last);
  EXPECT_EQ(PharmacyEntity::monthKeyForDate(first), "202403");
  EXPECT_EQ(PharmacyEntity::monthKeyForDate(last), "202403");
  EXPECT_LT(PharmacyEntity::monthKeyForDate(std::nullopt), PharmacyEntity::monthKeyForDate(first));
}

}  // namespace
}  // namespace dm
