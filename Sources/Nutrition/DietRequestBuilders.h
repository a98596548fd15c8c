// The ways diet, meal and product requests are built from what the editor holds.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Nutrition/DietMealAddRequest.h"
#include "Nutrition/DietProductAddRequest.h"
#include "Nutrition/DietUpdateRequest.h"

namespace dm {

class DietEntity;

// Sets only "common_advices".
std::shared_ptr<DietUpdateRequest> requestWithRecommendations(const std::string& recommendations);
// The diet's recommendations and its four targets. On the diet's context queue.
std::shared_ptr<DietUpdateRequest> requestWithRecommendationsAndNutrition(const DietEntity& diet);

// A meal at `consumeTime` with an empty product list.
template <class Request = DietMealAddRequest>
std::shared_ptr<Request> requestWithConsumeTime(const std::string& consumeTime) {
  auto request = std::make_shared<Request>();
  request->setTime(consumeTime);
  request->setProducts(RecordValue(RecordValue::Array{}));
  return request;
}

// The serialized trees of the product requests, in the given order.
RecordValue serializedProductList(
    const std::vector<std::shared_ptr<DietProductAddRequest>>& products);

// A meal at `consumeTime` carrying the products' serialized trees in the given order.
template <class Request = DietMealAddRequest>
std::shared_ptr<Request> requestWithConsumeTime(
    const std::string& consumeTime,
    const std::vector<std::shared_ptr<DietProductAddRequest>>& products) {
  auto request = std::make_shared<Request>();
  request->setTime(consumeTime);
  request->setProducts(serializedProductList(products));
  return request;
}

}  // namespace dm
