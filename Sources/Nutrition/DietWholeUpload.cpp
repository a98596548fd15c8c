// Building the whole-day upload from a stored diet.
#include "Nutrition/DietWholeUpload.h"

#include "Nutrition/DietEntity.h"
#include "Nutrition/DietMealEntity.h"
#include "Nutrition/DietProductEntity.h"

namespace dm {

namespace {
RecordValue productDictionary(const DietProductEntity& product) {
  RecordValue::Dictionary dictionary;
  if (product.hasHandbookPostID())
    dictionary["post_product_id"] = RecordValue(static_cast<long long>(product.handbookPostID()));
  if (product.hasAmountToConsume())
    dictionary["product_portion"] = RecordValue(product.amountToConsume());
  if (product.hasComment()) dictionary["comment"] = RecordValue(product.comment());
  return RecordValue(std::move(dictionary));
}

RecordValue mealDictionary(const DietMealEntity& meal) {
  RecordValue::Dictionary dictionary;
  if (meal.hasConsumeTime()) dictionary["time"] = RecordValue(meal.consumeTime());
  RecordValue::Array products;
  for (DietProductEntity* product : meal.productsInStoredOrder())
    products.push_back(productDictionary(*product));
  dictionary["products"] = RecordValue(std::move(products));
  return RecordValue(std::move(dictionary));
}
}  // namespace

std::shared_ptr<DietWholeUploadRequest> requestWithDiet(const DietEntity& diet,
                                                        const std::string& weekday) {
  auto request = std::make_shared<DietWholeUploadRequest>();
  request->setCommonAdvices(diet.hasCommonRecommendations() ? diet.commonRecommendations() : "");
  request->setWeekday(weekday);
  if (diet.hasDesiredFats()) request->setDesiredFatsAmount(diet.desiredFats());
  if (diet.hasDesiredCalories()) request->setDesiredEnergyValue(diet.desiredCalories());
  if (diet.hasDesiredProteins()) request->setDesiredProteinAmount(diet.desiredProteins());
  if (diet.hasDesiredCarbohydrates())
    request->setDesiredCarbohydrateAmount(diet.desiredCarbohydrates());
  RecordValue::Array meals;
  for (DietMealEntity* meal : diet.meals()) meals.push_back(mealDictionary(*meal));
  request->setMeals(RecordValue(std::move(meals)));
  return request;
}

}  // namespace dm
