// Diet records in a store beside the handbook: payload mapping, totals from handbook
// products, stored order of meal products across reopening, alternatives and meal times.
#include <gtest/gtest.h>

#include "Handbook/Entities/HandbookPostProductEntity.h"
#include "Nutrition/DietEntity.h"
#include "Nutrition/DietMealEntity.h"
#include "Nutrition/DietProductDto.h"
#include "Nutrition/DietProductEntity.h"
#include "Nutrition/NutritionTestSupport.h"
#include "Nutrition/TempDietProduct.h"
#include "Platform/Foundation/Error.h"
#include "Platform/Foundation/KeyedArchive.h"

namespace dm {
namespace {

// One diet day: breakfast with rice (150 g, two alternatives) and milk (200 g), lunch with
// lentils (120 g), spinach (0 g) and a product the handbook does not know (999).
constexpr const char* kDietPayload = R"({"diet": {
  "id": 7, "course_id": 3, "status": "created", "common_advices": "Drink water",
  "date": "2024-03-05T00:00:00Z", "not_valid": 0,
  "total_energy_value": 1, "protein_amount": 1, "fat_amount": 1, "carbohydrate_amount": 1,
  "desired_energy_value": 2200, "desired_protein_amount": 140,
  "desired_fats_amount": 70, "desired_carbohydrate_amount": 250,
  "meals": [
    {"id": 70, "time": "07:30", "products": [
      {"id": 503, "post_product_id": 10, "product_portion": 150, "number": 1, "comment": "boiled",
       "alternatives": [{"post_product_id": 11, "product_portion": 80},
                        {"post_product_id": 12, "product_portion": 300}]},
      {"id": 501, "post_product_id": 13, "product_portion": 200, "number": 2},
      {"id": 502, "post_product_id": 12, "product_portion": 50, "number": 2}]},
    {"id": 71, "time": "13:05", "products": [
      {"id": 510, "post_product_id": 11, "product_portion": 120, "number": 1},
      {"id": 511, "post_product_id": 12, "product_portion": 0, "number": 2},
      {"id": 512, "post_product_id": 999, "product_portion": 100, "number": 3}]}]}})";

class DietRecordsTest : public test::NutritionStoreTest {
 protected:
  DietEntity* mapDiet() {
    auto mapped = map("DietEntity", kDietPayload, "diet");
    EXPECT_EQ(mapped.size(), 1u);
    return mapped.empty() ? nullptr : dynamic_cast<DietEntity*>(mapped.front());
  }
  DietMealEntity* meal(DietEntity* diet, std::int64_t id) {
    for (auto* m : diet->meals())
      if (m->entityID() == id) return m;
    return nullptr;
  }
  static std::vector<std::int64_t> ids(const std::vector<DietProductEntity*>& products) {
    std::vector<std::int64_t> out;
    for (auto* p : products) out.push_back(p->entityID());
    return out;
  }
};

TEST_F(DietRecordsTest, PayloadMapsEveryFieldUnderItsServerKey) {
  perform([&] {
    DietEntity* diet = mapDiet();
    ASSERT_TRUE(diet);
    EXPECT_EQ(diet->courseId(), 3);
    EXPECT_EQ(diet->commonRecommendations(), "Drink water");
    EXPECT_DOUBLE_EQ(diet->desiredCalories(), 2200);
    EXPECT_DOUBLE_EQ(diet->desiredProteins(), 140);
    EXPECT_DOUBLE_EQ(diet->desiredFats(), 70);
    EXPECT_DOUBLE_EQ(diet->desiredCarbohydrates(), 250);
    EXPECT_FALSE(diet->notValid());
    EXPECT_TRUE(diet->created());
    EXPECT_FALSE(diet->commentIsEmpty());
    EXPECT_EQ(diet->dateString().size(), 10u);
    ASSERT_EQ(diet->meals().size(), 2u);
    DietMealEntity* breakfast = meal(diet, 70);
    ASSERT_TRUE(breakfast);
    EXPECT_EQ(breakfast->consumeTime(), "07:30");
    EXPECT_EQ(breakfast->consumeTimeInMinutes(), 450);
    auto products = breakfast->productsInStoredOrder();
    ASSERT_EQ(ids(products), (std::vector<std::int64_t>{503, 501, 502}));
    EXPECT_EQ(products[0]->handbookPostID(), 10);
    EXPECT_DOUBLE_EQ(products[0]->amountToConsume(), 150);
    EXPECT_EQ(products[0]->comment(), "boiled");
    EXPECT_EQ(products[0]->position(), 1);
    EXPECT_EQ(products[0]->meal(), breakfast);
  });
}

TEST_F(DietRecordsTest, TotalsComeFromHandbookProductsAndPortions) {
  relate(7, {10, 11, 12, 13});
  perform([&] {
    DietEntity* diet = mapDiet();
    ASSERT_TRUE(diet);
    diet->calculateTotals();
    // By hand: rice 150 g, milk 200 g, spinach 50 g, lentils 120 g; spinach at 0 g and the
    // unknown product 999 add nothing.
    EXPECT_FLOAT_EQ(diet->caloriesTotal(), 534.0f + 214.0f + 12.0f + 386.4f);
    EXPECT_FLOAT_EQ(diet->proteins(), 11.91f + 7.36f + 1.07f + 29.22f);
    EXPECT_FLOAT_EQ(diet->fats(), 0.78f + 13.16f + 0.32f + 0.9f);
    EXPECT_FLOAT_EQ(diet->carbohydrates(), 117.36f + 16.78f + 1.025f + 58.2f);
    EXPECT_DOUBLE_EQ(diet->desiredCalories(), 2200);  // targets untouched
    EXPECT_FALSE(diet->isEmpty());

    DietMealEntity* lunch = meal(diet, 71);
    auto products = lunch->productsInStoredOrder();
    EXPECT_FLOAT_EQ(products[0]->calories(), 386.4f);
    EXPECT_FLOAT_EQ(products[1]->calories(), 0.0f);
    EXPECT_EQ(products[2]->handbook(), nullptr);
    EXPECT_FLOAT_EQ(products[2]->calories(), 0.0f);
  });
}

TEST_F(DietRecordsTest, DietWithoutHandbookRelationOrMealsTotalsZero) {
  perform([&] {
    DietEntity* diet = mapDiet();
    diet->calculateTotals();  // the handbook has no relation for diet 7 yet
    EXPECT_TRUE(diet->isEmpty());
    auto* bare = insert<DietEntity>();
    bare->setCaloriesTotal(5);
    bare->calculateTotals();
    EXPECT_TRUE(bare->isEmpty());
  });
  // The cache is asked again once the handbook knows the diet's products.
  relate(7, {10});
  perform([&] {
    DietEntity* diet = nullptr;
    for (auto* object : all("DietEntity"))
      if (auto* d = dynamic_cast<DietEntity*>(object); d && d->entityID() == 7) diet = d;
    ASSERT_TRUE(diet);
    diet->calculateTotals();
    EXPECT_FLOAT_EQ(diet->caloriesTotal(), 534.0f);
  });
}

TEST_F(DietRecordsTest, MealProductsKeepTheirOrderAcrossReopening) {
  perform([&] { mapDiet(); });
  reopen();
  perform([&] {
    DietMealEntity* breakfast = nullptr;
    for (auto* object : all("DietMealEntity"))
      if (auto* m = dynamic_cast<DietMealEntity*>(object); m && m->entityID() == 70) breakfast = m;
    ASSERT_TRUE(breakfast);
    EXPECT_EQ(ids(breakfast->productsInStoredOrder()), (std::vector<std::int64_t>{503, 501, 502}));
    // Equal positions fall back to the identifier; an unset position reads 0 and leads.
    EXPECT_EQ(ids(breakfast->orderedProducts()), (std::vector<std::int64_t>{503, 501, 502}));
    auto* late = insert<DietProductEntity>();
    late->setEntityID(500);
    late->setPosition(2);
    breakfast->addProductsObject(late);
    auto* unplaced = insert<DietProductEntity>();
    unplaced->setEntityID(504);
    breakfast->addProductsObject(unplaced);
    EXPECT_EQ(ids(breakfast->productsInStoredOrder()),
              (std::vector<std::int64_t>{503, 501, 502, 500, 504}));
    EXPECT_EQ(ids(breakfast->orderedProducts()),
              (std::vector<std::int64_t>{504, 503, 500, 501, 502}));
  });
}

TEST_F(DietRecordsTest, AlternativesDecodeResolveAndFailAsAWhole) {
  relate(7, {10, 11, 12, 13});
  perform([&] {
    DietEntity* diet = mapDiet();
    DietProductEntity* rice = meal(diet, 70)->productsInStoredOrder().at(0);
    auto alternatives = rice->alternatives();
    ASSERT_EQ(alternatives.size(), 2u);
    EXPECT_EQ(alternatives[0].postProductId, 11);
    EXPECT_FLOAT_EQ(alternatives[1].productPortion, 300.0f);
    ASSERT_TRUE(alternatives[0].handbook);
    EXPECT_EQ(*alternatives[0].handbook->entityID(), 11);
    EXPECT_EQ(rice->allPostProductsIds(), (std::vector<std::int64_t>{11, 12, 10}));
    EXPECT_EQ(meal(diet, 70)->allPostProductsIds(),
              (std::vector<std::int64_t>{11, 12, 10, 13, 12}));
    auto distinct = diet->allPostProductsIds();
    std::sort(distinct.begin(), distinct.end());
    EXPECT_EQ(distinct, (std::vector<std::int64_t>{10, 11, 12, 13, 999}));

    DietProductDto dto(*rice, *diet);
    EXPECT_DOUBLE_EQ(dto.amountToConsume, 150);
    ASSERT_EQ(dto.alternatives.size(), 2u);
    EXPECT_DOUBLE_EQ(dto.alternatives[1].amountToConsume, 300);
    TempDietProduct editing(*rice);
    EXPECT_EQ(editing.handbook, rice->handbook());
    EXPECT_EQ(editing.alternatives.size(), 2u);
    EXPECT_EQ(withTempProduct(editing)->serialized().toJson(),
              nlohmann::json::parse(
                  R"({"post_product_id": 10, "product_portion": 150.0, "comment": "boiled"})"));

    // Missing key, bytes that are no archive, nothing stored: the empty list.
    rice->setAlternativesData(nlohmann::json::parse(R"([{"post_product_id": 11}])"));
    EXPECT_TRUE(rice->alternatives().empty());
    rice->setValueAt(DietProductEntity::kAlternativesDataIndex, Value(Blob{1, 2, 3}));
    EXPECT_TRUE(rice->alternatives().empty());
    EXPECT_EQ(rice->allPostProductsIds(), (std::vector<std::int64_t>{10}));
    rice->clearAlternativesData();
    EXPECT_TRUE(rice->alternatives().empty());
    rice->clearAmountToConsume();
    EXPECT_DOUBLE_EQ(DietProductDto(*rice, *diet).amountToConsume, 0);
    EXPECT_EQ(rice->handbookPostID(), 10);  // the line itself is intact
  });
}

TEST_F(DietRecordsTest, WrongTypedValuesAreSkippedAndTheRestIsKept) {
  relate(8, {10, 11});
  perform([&] {
    auto mapped = map("DietEntity", R"({"diet": {"id": 8, "common_advices": "Keep",
      "meals": [{"id": 80, "time": "09:00", "products": [
        {"id": 801, "post_product_id": 10, "product_portion": "lots", "number": 1},
        {"id": 802, "post_product_id": 11, "product_portion": 100, "number": 1,
         "alternatives": "not a list"}]}]}})",
                      "diet");
    ASSERT_EQ(mapped.size(), 1u);
    auto* diet = dynamic_cast<DietEntity*>(mapped.front());
    EXPECT_EQ(diet->commonRecommendations(), "Keep");
    diet->calculateTotals();
    EXPECT_FLOAT_EQ(diet->caloriesTotal(), 322.0f);  // the line without portion adds 0
    DietMealEntity* breakfast = meal(diet, 80);
    ASSERT_TRUE(breakfast);
    EXPECT_EQ(ids(breakfast->orderedProducts()), (std::vector<std::int64_t>{801, 802}));
    EXPECT_TRUE(breakfast->orderedProducts()[1]->alternatives().empty());
  });
}

TEST_F(DietRecordsTest, MealTimesReadMinutesAndFallBackToSeven) {
  perform([&] {
    auto* meal = insert<DietMealEntity>();
    EXPECT_EQ(meal->consumeTimeInMinutes(), 0);
    EXPECT_FALSE(meal->formattedConsumeTime().empty());
    meal->setConsumeTime("");
    EXPECT_EQ(meal->consumeTimeInMinutes(), 0);
    meal->setConsumeTime("23:59");
    EXPECT_EQ(meal->consumeTimeInMinutes(), 1439);
    meal->setConsumeTime("0730");
    EXPECT_THROW(meal->consumeTimeInMinutes(), Error);
  });
}

TEST(DietAlternativesRule, OnlyTodayOrLaterWithAPreset) {
  Date now(1709640000);  // 5 March 2024, 12:00 UTC
  Date earlierToday = now.addingTimeInterval(-3600);
  Date yesterday = now.addingTimeInterval(-86400);
  Date tomorrow = now.addingTimeInterval(86400);
  EXPECT_TRUE(DietEntity::showAlternativesForDate(earlierToday, true, now));
  EXPECT_TRUE(DietEntity::showAlternativesForDate(tomorrow, true, now));
  EXPECT_FALSE(DietEntity::showAlternativesForDate(yesterday, true, now));
  EXPECT_FALSE(DietEntity::showAlternativesForDate(tomorrow, false, now));
  EXPECT_FALSE(DietEntity::showAlternativesForDate(std::nullopt, true, now));
}

}  // namespace
}  // namespace dm
