// Equipment-type rules answered from the application's table.
#include "Platform/Host/EquipmentTypeRules.h"

#include <cmath>
#include <mutex>
#include <stdexcept>

#include "Platform/Foundation/Error.h"

namespace dm {
namespace {
std::mutex gSharedMutex;
std::shared_ptr<EquipmentTypeRules> gShared;  // guarded by gSharedMutex; null: the default

EquipmentTypeTable checked(EquipmentTypeTable table) {
  for (const auto& [type, multiplier] : table.weightMultipliers)
    if (!std::isfinite(multiplier) || multiplier <= 0)
      throw Error(ErrorCode::InvalidInput, "equipment type " + std::to_string(type) +
                                               ": weight multiplier " + std::to_string(multiplier) +
                                               " is not a number above 0");
  for (const auto& [type, key] : table.recommendationKeys)
    if (key.empty())
      throw Error(ErrorCode::InvalidInput,
                  "equipment type " + std::to_string(type) + ": empty recommendation key");
  return table;
}
}  // namespace

EquipmentTypeRules::EquipmentTypeRules(EquipmentTypeTable table)
    : table_(checked(std::move(table))) {}

bool EquipmentTypeRules::holds(EquipmentTypeRule rule, std::int64_t equipmentType) const {
  auto found = table_.rules.find(rule);
  return found != table_.rules.end() && found->second.count(equipmentType) != 0;
}

double EquipmentTypeRules::recommendedWeightMultiplyer(std::int64_t equipmentType) const {
  auto found = table_.weightMultipliers.find(equipmentType);
  return found == table_.weightMultipliers.end() ? 1.0 : found->second;
}

std::optional<std::string> EquipmentTypeRules::getTypeRecomendationString(
    std::int64_t equipmentType) const {
  auto found = table_.recommendationKeys.find(equipmentType);
  if (found == table_.recommendationKeys.end()) return std::nullopt;
  return found->second;
}

std::shared_ptr<EquipmentTypeRules> EquipmentTypeRules::shared() {
  std::lock_guard lock(gSharedMutex);
  if (!gShared) gShared = std::make_shared<EquipmentTypeRules>();
  return gShared;
}

void EquipmentTypeRules::setShared(std::shared_ptr<EquipmentTypeRules> rules) {
  std::lock_guard lock(gSharedMutex);
  gShared = std::move(rules);
}

}  // namespace dm
