// A line of a meal: a handbook product and its portion. Nutrients are never copied here;
// they come from the handbook product through the diet's cache.
#pragma once

#include <cstdint>
#include <vector>

#include "Nutrition/DietProductAlternativeEntity.h"
#include "Nutrition/DietProductEntityGenerated.h"
#include "Platform/ObjectStore/FetchRequest.h"

namespace dm {

class HandbookPostProductEntity;

// Threads and ownership as ManagedObject.
class DietProductEntity : public DietProductEntityGenerated {
 public:
  // A query for every stored diet line.
  static FetchRequest fetchRequest(const ManagedObjectModel& model);

  // meal.diet.handbookForId(handbookPostID); nullptr without meal, diet or handbook entry.
  HandbookPostProductEntity* handbook() const;
  // The handbook product asked from the adapter directly, independent of the diet's cache.
  HandbookPostProductEntity* handbookPost() const;

  // The stored alternatives decoded, each resolved through the diet's cache; empty when
  // none are stored or they do not decode.
  std::vector<DietProductAlternativeEntity> alternatives() const;
  std::vector<std::int64_t> alternativeHandbookIds() const;
  // The alternatives' ids in decoding order, then this line's own product id when set.
  std::vector<std::int64_t> allPostProductsIds() const;

  // portion / 100 x the handbook value per 100 g, in single precision; 0 without handbook.
  float calories() const;
  float fats() const;
  float proteins() const;
  float carbohydrates() const;

 private:
  float nutrient(std::optional<double> (HandbookPostProductEntity::*value)() const) const;
};

}  // namespace dm
