// Decoding the ingredient lists of food products.
#include "Handbook/Entities/IngredientEntity.h"

#include <cmath>
#include <limits>
#include <stdexcept>

#include <nlohmann/json.hpp>

#include "Platform/Foundation/Logger.h"

namespace dm {

namespace {
std::int64_t integerMember(const nlohmann::json& element, const char* key) {
  auto it = element.find(key);
  if (it == element.end()) throw std::runtime_error(std::string("missing key \"") + key + "\"");
  if (it->is_number_integer()) {
    if (it->is_number_unsigned() &&
        it->get<std::uint64_t>() > static_cast<std::uint64_t>(INT64_MAX))
      throw std::runtime_error(std::string("\"") + key + "\" is out of range");
    return it->get<std::int64_t>();
  }
  if (it->is_number_float()) {
    double d = it->get<double>();
    if (std::trunc(d) == d && std::fabs(d) < 9.2e18) return static_cast<std::int64_t>(d);
  }
  throw std::runtime_error(std::string("\"") + key + "\" is not an integer");
}

float floatMember(const nlohmann::json& element, const char* key) {
  auto it = element.find(key);
  if (it == element.end()) throw std::runtime_error(std::string("missing key \"") + key + "\"");
  if (!it->is_number()) throw std::runtime_error(std::string("\"") + key + "\" is not a number");
  return static_cast<float>(it->get<double>());
}
}  // namespace

std::vector<IngredientEntity> IngredientEntity::parseFromData(std::span<const std::uint8_t> data) {
  std::vector<IngredientEntity> result;
  try {
    auto tree = nlohmann::json::parse(data.begin(), data.end());
    if (!tree.is_array()) throw std::runtime_error("the data is not a list");
    result.reserve(tree.size());
    for (std::size_t i = 0; i < tree.size(); ++i) {
      const auto& element = tree[i];
      if (!element.is_object())
        throw std::runtime_error("element " + std::to_string(i) + " is not a dictionary");
      IngredientEntity ingredient;
      ingredient.postProductId = integerMember(element, "post_product_id");
      ingredient.weight = floatMember(element, "weight");
      result.push_back(ingredient);
    }
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
