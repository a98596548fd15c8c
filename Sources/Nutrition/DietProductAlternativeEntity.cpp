// Decoding the alternatives kept with a diet line.
#include "Nutrition/DietProductAlternativeEntity.h"

#include <cmath>
#include <stdexcept>
#include <string>

#include <nlohmann/json.hpp>

#include "Platform/Foundation/KeyedArchive.h"
#include "Platform/Foundation/Logger.h"

namespace dm {

namespace {
std::int64_t integerMember(const nlohmann::json& element, const char* key) {
  auto it = element.find(key);
  if (it == element.end()) throw std::runtime_error(std::string("missing key \"") + key + "\"");
  if (it->is_number_integer() &&
      !(it->is_number_unsigned() &&
        it->get<std::uint64_t>() > static_cast<std::uint64_t>(INT64_MAX)))
    return it->get<std::int64_t>();
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

std::vector<DietProductAlternativeEntity> DietProductAlternativeEntity::parseFromData(
    std::span<const std::uint8_t> data) {
  std::vector<DietProductAlternativeEntity> result;
  try {
    auto tree = KeyedArchive::unarchivedObject(data);
    if (!tree) throw std::runtime_error("the data is no keyed archive");
    // Re-serialised as JSON text and decoded from that, as any server list would be.
    auto list = nlohmann::json::parse(tree->dump());
    if (!list.is_array()) throw std::runtime_error("the data is not a list");
    result.reserve(list.size());
    for (std::size_t i = 0; i < list.size(); ++i) {
      const auto& element = list[i];
      if (!element.is_object())
        throw std::runtime_error("element " + std::to_string(i) + " is not a dictionary");
      DietProductAlternativeEntity alternative;
      alternative.postProductId = integerMember(element, "post_product_id");
      alternative.productPortion = floatMember(element, "product_portion");
      result.push_back(alternative);
    }
  } catch (const std::exception& error) {
    debugOutput(std::string("Failed to load DietProductAlternativeEntity: ") + error.what());
    return {};
  }
  return result;
}

}  // namespace dm
