// Damaged diet answers and stored data: wrong-typed nutrient values, products the handbook
// does not know and corrupt alternatives give the documented empty values, and nothing already
// stored is lost (checked after reopening the store).
#include <gtest/gtest.h>

#include "Handbook/Entities/HandbookPostProductEntity.h"
#include "Nutrition/DietEntity.h"
#include "Nutrition/DietMealEntity.h"
#include "Nutrition/DietProductEntity.h"
#include "Nutrition/DietWholeUpload.h"
#include "Nutrition/NutritionTestSupport.h"
#include "Platform/ObjectMapping/MappingError.h"

namespace dm {
namespace {

constexpr const char* kStoredDiet = R"({"diet": {
  "id": 9, "course_id": 3, "common_advices": "Keep", "total_energy_value": 900,
  "desired_energy_value": 2000,
  "meals": [{"id": 90, "time": "08:00", "products": [
    {"id": 901, "post_product_id": 10, "product_portion": 100, "number": 1,
     "alternatives": [{"post_product_id": 11, "product_portion": 80}]},
    {"id": 902, "post_product_id": 13, "product_portion": 200, "number": 2}]}]}})";

class DietBadInputTest : public test::NutritionStoreTest {
 protected:
  DietEntity* diet(std::int64_t id) {
    for (auto* object : all("DietEntity"))
      if (auto* d = dynamic_cast<DietEntity*>(object); d && d->entityID() == id) return d;
    return nullptr;
  }
  std::vector<std::int64_t> lineIds(DietMealEntity* meal) {
    std::vector<std::int64_t> ids;
    for (auto* product : meal->orderedProducts()) ids.push_back(product->entityID());
    return ids;
  }
};

TEST_F(DietBadInputTest, WrongTypedNutrientValuesAreSkippedOrRefusedWithoutLoss) {
  perform([&] { map("DietEntity", kStoredDiet, "diet"); });
  const char* damaged = R"({"diet": {"id": 9, "total_energy_value": "lots",
    "protein_amount": [1], "desired_energy_value": {"kcal": 1}, "common_advices": "New"}})";
  perform([&] {
    // Strict: the whole answer is refused and the diet stays as it was.
    auto mapping =
        ModelMapper::shared()->responseMappingForClass(*RecordClasses::classNamed("DietEntity"));
    ManagedObjectDestination destination(*context);
    MappingOptions strict;
    strict.skipInvalidValues = false;
    EXPECT_THROW(MappingOperation(destination, strict).map(damaged, "diet", mapping), MappingError);
    // Lenient: the wrong values are skipped, the rest is taken.
    map("DietEntity", damaged, "diet");
  });
  reopen();
  perform([&] {
    DietEntity* stored = diet(9);
    ASSERT_TRUE(stored);
    EXPECT_EQ(stored->commonRecommendations(), "New");
    EXPECT_FLOAT_EQ(stored->caloriesTotal(), 900);
    EXPECT_FALSE(stored->hasProteins());
    EXPECT_DOUBLE_EQ(stored->desiredCalories(), 2000);
    ASSERT_EQ(stored->meals().size(), 1u);
    EXPECT_EQ(lineIds(stored->meals()[0]), (std::vector<std::int64_t>{901, 902}));
  });
}

TEST_F(DietBadInputTest, WrongTypedHandbookValuesAndUnknownProductsCountAsZero) {
  // The handbook's own product with a text where a number belongs.
  HandbookAdapter::shared().getHandbookUpdateEntityFromRequest(nlohmann::json::parse(R"({
    "status": "changed", "version": 2, "post_products": [
      {"id": 20, "title": "Broken", "status": "published", "language": "en",
       "calories": "many", "proteins": 5}]})"));
  settleHandbook();
  relate(9, {10, 20, 777});
  perform([&] {
    auto mapped = map("DietEntity", R"({"diet": {"id": 9, "meals": [{"id": 90, "products": [
      {"id": 901, "post_product_id": 10, "product_portion": 100, "number": 1},
      {"id": 902, "post_product_id": 20, "product_portion": 100, "number": 2},
      {"id": 903, "post_product_id": 777, "product_portion": 100, "number": 3},
      {"id": 904, "product_portion": 100, "number": 4}]}]}})",
                      "diet");
    auto* d = dynamic_cast<DietEntity*>(mapped.at(0));
    d->calculateTotals();
    // Rice alone gives energy; the broken product adds its readable protein only.
    EXPECT_FLOAT_EQ(d->caloriesTotal(), 356.0f);
    EXPECT_FLOAT_EQ(d->proteins(), 7.94f + 5.0f);
    auto lines = d->meals().at(0)->orderedProducts();
    ASSERT_EQ(lines.size(), 4u);
    ASSERT_TRUE(lines[1]->handbook());
    EXPECT_FALSE(lines[1]->handbook()->calories());
    EXPECT_FLOAT_EQ(lines[1]->calories(), 0.0f);
    EXPECT_FLOAT_EQ(lines[1]->proteins(), 5.0f);
    for (auto* line : {lines[2], lines[3]}) {
      EXPECT_EQ(line->handbook(), nullptr);
      EXPECT_EQ(line->handbookPost(), nullptr);
      EXPECT_FLOAT_EQ(line->calories(), 0.0f);
    }
  });
}

TEST_F(DietBadInputTest, CorruptStoredAlternativesReadEmptyAndStayStored) {
  relate(9, {10, 11, 13});
  perform([&] {
    map("DietEntity", kStoredDiet, "diet");
    DietProductEntity* rice = diet(9)->meals().at(0)->orderedProducts().at(0);
    // A list element of the wrong kind, then bytes that are no archive at all.
    rice->setAlternativesData(nlohmann::json::parse(R"([{"post_product_id": 11,
                                                         "product_portion": "80"}])"));
    EXPECT_TRUE(rice->alternatives().empty());
    rice->setValueAt(DietProductEntity::kAlternativesDataIndex, Value(Blob{0xff, 0x00, 0x13}));
    EXPECT_TRUE(rice->alternatives().empty());
    EXPECT_TRUE(rice->alternativeHandbookIds().empty());
    context->save();
  });
  reopen();
  perform([&] {
    DietEntity* stored = diet(9);
    DietProductEntity* rice = stored->meals().at(0)->orderedProducts().at(0);
    EXPECT_EQ(rice->valueAt(DietProductEntity::kAlternativesDataIndex),
              Value(Blob{0xff, 0x00, 0x13}));
    EXPECT_TRUE(rice->alternatives().empty());
    // The rest of the day still totals and uploads.
    stored->calculateTotals();
    EXPECT_FLOAT_EQ(stored->caloriesTotal(), 356.0f + 214.0f);
    auto body = requestWithDiet(*stored, "friday")->serialized().toJson();
    EXPECT_EQ((*body)["diet"]["meals"][0]["products"].size(), 2u);
  });
}

}  // namespace
}  // namespace dm
