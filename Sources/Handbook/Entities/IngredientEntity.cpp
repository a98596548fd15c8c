// Decoding the ingredient lists of food products.
#include "Handbook/Entities/IngredientEntity.h"

#include <cmath>
#include <limits>
#include <stdexcept>

#include <nlohmann/json.hpp>

#include "Platform/Foundation/DictionaryListDecoding.h"
#include "Platform/Foundation/Logger.h"

namespace dm {

std::vector<IngredientEntity> IngredientEntity::parseFromData(std::span<const std::uint8_t> data) {
  std::vector<IngredientEntity> result;
  try {
    auto tree = nlohmann::json::parse(data.begin(), data.end());
    result = decodeDictionaryList<IngredientEntity>(tree, [](const auto& element) {
      IngredientEntity ingredient;
      ingredient.postProductId = requiredIntegerMember(element, "post_product_id");
      ingredient.weight = requiredFloatMember(element, "weight");
      return ingredient;
    });
  } catch (const std::exception& error) {
    debugOutput(std::string("Failed to load IngredientEntity: ") + error.what());
    return {};
  }
  return result;
}

std::vector<IngredientEntity> IngredientEntity::parseFromDataObjc(const std::optional<Blob>& data) {
  if (!data) return {};
  return parseFromData(*data);
}

}  // namespace dm
