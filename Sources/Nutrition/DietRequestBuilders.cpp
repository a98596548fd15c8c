// Building diet requests from the editor's values and stored diets.
#include "Nutrition/DietRequestBuilders.h"

#include "Nutrition/DietEntity.h"

namespace dm {

std::shared_ptr<DietUpdateRequest> requestWithRecommendations(const std::string& recommendations) {
  auto request = std::make_shared<DietUpdateRequest>();
  request->setCommon_advices(recommendations);
  return request;
}

std::shared_ptr<DietUpdateRequest> requestWithRecommendationsAndNutrition(const DietEntity& diet) {
  auto request = std::make_shared<DietUpdateRequest>();
  if (diet.hasCommonRecommendations()) request->setCommon_advices(diet.commonRecommendations());
  if (diet.hasDesiredFats()) request->setDesired_fats_amount(diet.desiredFats());
  if (diet.hasDesiredCalories()) request->setDesired_energy_value(diet.desiredCalories());
  if (diet.hasDesiredProteins()) request->setDesired_protein_amount(diet.desiredProteins());
  if (diet.hasDesiredCarbohydrates())
    request->setDesired_carbohydrate_amount(diet.desiredCarbohydrates());
  return request;
}

RecordValue serializedProductList(
    const std::vector<std::shared_ptr<DietProductAddRequest>>& products) {
  RecordValue::Array list;
  list.reserve(products.size());
  for (const auto& product : products)
    if (product) list.push_back(product->serialized());
  return RecordValue(std::move(list));
}

}  // namespace dm
