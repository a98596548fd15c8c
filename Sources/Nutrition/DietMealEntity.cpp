// Meal order, times and the handbook ids a meal refers to.
#include "Nutrition/DietMealEntity.h"

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

#include "Nutrition/DietProductEntity.h"
#include "Platform/Foundation/Error.h"
#include "Profile/MealsTimeFormatter.h"

namespace dm {

std::vector<DietProductEntity*> DietMealEntity::orderedProducts() const {
  auto products = productsInStoredOrder();
  std::stable_sort(products.begin(), products.end(),
                   [](DietProductEntity* a, DietProductEntity* b) {
                     if (a->position() != b->position()) return a->position() < b->position();
                     return a->entityID() < b->entityID();
                   });
  return products;
}

std::vector<DietProductEntity*> DietMealEntity::productsInStoredOrder() const {
  std::vector<DietProductEntity*> products;
  for (ManagedObject* object : objectsForKey("products"))
    if (auto* product = dynamic_cast<DietProductEntity*>(object)) products.push_back(product);
  return products;
}

int DietMealEntity::consumeTimeInMinutes() const {
  if (!hasConsumeTime() || consumeTime().empty()) return 0;
  std::string time = consumeTime();
  auto colon = time.find(':');
  if (colon == std::string::npos)
    throw Error(ErrorCode::InvalidInput, "meal time \"" + time + "\" has no \":\"");
  // Leading digits of each part, as a signed integer.
  int hours = std::atoi(time.substr(0, colon).c_str());
  int minutes = std::atoi(time.substr(colon + 1).c_str());
  return hours * 60 + minutes;
}

std::string DietMealEntity::formattedConsumeTime() const {
  std::string stored = hasConsumeTime() ? consumeTime() : std::string("07:00");
  auto time = timeOfDayFromStoredString(stored);
  if (!time) return stored;
  return mealsTimeStringFromTimeOfDay(*time);
}

std::vector<std::int64_t> DietMealEntity::allPostProductsIds() const {
  std::vector<std::int64_t> ids;
  for (DietProductEntity* product : productsInStoredOrder()) {
    auto own = product->allPostProductsIds();
    ids.insert(ids.end(), own.begin(), own.end());
  }
  return ids;
}

}  // namespace dm
