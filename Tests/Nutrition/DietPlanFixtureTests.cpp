// A week of a generated diet plan (scripts/gen-diet-fixture) over the shipped handbook seed:
// the seed's food values agree with the food table, and every day's totals agree with totals
// worked out here from the plan's portions and the table's values.
#include <gtest/gtest.h>

#include <map>

#include "Handbook/Entities/HandbookPostProductEntity.h"
#include "Handbook/Seed/HandbookSeedSource.h"
#include "Nutrition/DietEntity.h"
#include "Nutrition/DietMealEntity.h"
#include "Nutrition/DietProductEntity.h"
#include "Nutrition/NutritionTestSupport.h"

namespace dm {
namespace {

using nlohmann::json;

struct Totals {
  double calories = 0, proteins = 0, fats = 0, carbohydrates = 0;
};

class DietPlanFixtureTest : public test::NutritionStoreTest {
 protected:
  void SetUp() override {
    NutritionStoreTest::SetUp();
    plan = json::parse(test::readFile(test::fixturePath("Nutrition/diet-plan-1week.json")));
    ASSERT_TRUE(plan.contains("diets"));
    seed = HandbookSeedSource::load(test::fixturePath("../../Resources/Seeds")).updateDictionary();
    // The seed's foods the plan uses, and the plan's mixed dishes made of them.
    json products = json::array();
    for (const json& product : seed["post_products"])
      if (plan["foods"].contains(std::to_string(product["id"].get<std::int64_t>())))
        products.push_back(product);
    for (const json& dish : plan["handbook"]["post_products"]) products.push_back(dish);
    HandbookAdapter::shared().getHandbookUpdateEntityFromRequest(
        {{"status", "changed"}, {"version", 3}, {"post_products", products}});
    settleHandbook();
  }

  // The day's totals from the plan's portions and the table's values per 100 g.
  Totals expectedTotals(const json& day) const {
    Totals totals;
    for (const json& meal : day["meals"]) {
      for (const json& line : meal["products"]) {
        const json& food =
            plan.at("foods").at(std::to_string(line.at("post_product_id").get<int>()));
        double share = line["product_portion"].get<double>() / 100.0;
        totals.calories += food["calories"].get<double>() * share;
        totals.proteins += food["proteins"].get<double>() * share;
        totals.fats += food["fats"].get<double>() * share;
        totals.carbohydrates += food["carbohydrates"].get<double>() * share;
      }
    }
    return totals;
  }

  json plan;
  json seed;
};

TEST_F(DietPlanFixtureTest, SeedFoodsCarryTheFoodTableValues) {
  std::size_t checked = 0;
  for (const json& product : seed["post_products"]) {
    std::string id = std::to_string(product["id"].get<std::int64_t>());
    if (!plan["foods"].contains(id)) continue;
    const json& food = plan["foods"][id];
    EXPECT_EQ(product["title"], food["title"]) << id;
    EXPECT_NEAR(product["calories"].get<double>(), food["calories"].get<double>(), 0.011) << id;
    for (const char* key : {"proteins", "fats", "carbohydrates"})
      EXPECT_NEAR(product[key].get<double>(), food[key].get<double>(), 1e-9) << id << key;
    ++checked;
  }
  EXPECT_GT(checked, 50u);
}

TEST_F(DietPlanFixtureTest, EveryDayTotalsAsWorkedOutFromTheTable) {
  std::map<std::int64_t, std::vector<std::int64_t>> usedProducts;
  perform([&] {
    auto mapped = map("DietEntity", plan.dump(), "diets");
    ASSERT_EQ(mapped.size(), plan["diets"].size());
    for (auto* object : mapped) {
      auto* diet = dynamic_cast<DietEntity*>(object);
      usedProducts[diet->entityID()] = diet->allPostProductsIds();
    }
  });
  for (const auto& [dietId, ids] : usedProducts) relate(dietId, ids);
  perform([&] {
    std::size_t days = 0;
    for (const json& day : plan["diets"]) {
      DietEntity* diet = nullptr;
      for (auto* object : all("DietEntity"))
        if (auto* d = dynamic_cast<DietEntity*>(object); d && d->entityID() == day["id"]) diet = d;
      ASSERT_TRUE(diet);
      diet->calculateTotals();
      Totals expected = expectedTotals(day);
      auto near = [](double value) { return 0.01 + value * 1e-5; };
      EXPECT_NEAR(diet->caloriesTotal(), expected.calories, near(expected.calories));
      EXPECT_NEAR(diet->proteins(), expected.proteins, near(expected.proteins));
      EXPECT_NEAR(diet->fats(), expected.fats, near(expected.fats));
      EXPECT_NEAR(diet->carbohydrates(), expected.carbohydrates, near(expected.carbohydrates));
      EXPECT_GT(expected.calories, 1000);  // a real day's food, not an empty one
      ++days;
    }
    EXPECT_GE(days, 3u);
  });
}

TEST_F(DietPlanFixtureTest, AlternativesAndDishIngredientsResolveToSeedFoods) {
  std::int64_t dietId = plan["diets"][0]["id"];
  std::vector<std::int64_t> ids;
  perform([&] {
    auto mapped = map("DietEntity", plan.dump(), "diets");
    for (auto* object : mapped)
      if (auto* d = dynamic_cast<DietEntity*>(object); d->entityID() == dietId)
        ids = d->allPostProductsIds();
  });
  relate(dietId, ids);
  perform([&] {
    std::size_t alternatives = 0;
    for (auto* object : all("DietProduct")) {
      auto* line = dynamic_cast<DietProductEntity*>(object);
      if (!line->meal() || line->meal()->diet()->entityID() != dietId) continue;
      ASSERT_TRUE(line->handbook()) << line->handbookPostID();
      for (const auto& alternative : line->alternatives()) {
        ASSERT_TRUE(alternative.handbook) << alternative.postProductId;
        EXPECT_EQ(alternative.handbook->title(),
                  plan["foods"][std::to_string(alternative.postProductId)]["title"]);
        ++alternatives;
      }
    }
    EXPECT_GT(alternatives, 0u);
  });
  // A dish lists seed foods as its ingredients.
  HandbookPostProductEntity* dish = HandbookAdapter::shared().getPostProductEntity(90001);
  ASSERT_TRUE(dish);
  auto ingredients = dish->ingredients();
  ASSERT_EQ(ingredients.size(), plan["handbook"]["post_products"][0]["ingredients"].size());
  EXPECT_EQ(ingredients[0].postProductId, 50015);
}

}  // namespace
}  // namespace dm
