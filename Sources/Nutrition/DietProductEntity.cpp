// Handbook lookups, alternatives and nutrients of a diet line.
#include "Nutrition/DietProductEntity.h"

#include "Handbook/Adapter/HandbookAdapter.h"
#include "Handbook/Entities/HandbookPostProductEntity.h"
#include "Nutrition/DietEntity.h"
#include "Nutrition/DietMealEntity.h"
#include "Platform/ObjectStore/ManagedObjectModel.h"

namespace dm {

FetchRequest DietProductEntity::fetchRequest(const ManagedObjectModel& model) {
  return FetchRequest(model.entityNamed("DietProduct"));
}

HandbookPostProductEntity* DietProductEntity::handbook() const {
  DietMealEntity* owner = meal();
  DietEntity* diet = owner ? owner->diet() : nullptr;
  if (!diet || !hasHandbookPostID()) return nullptr;
  return diet->handbookForId(handbookPostID());
}

HandbookPostProductEntity* DietProductEntity::handbookPost() const {
  if (!hasHandbookPostID()) return nullptr;
  return HandbookAdapter::shared().getPostProductEntity(handbookPostID());
}

std::vector<DietProductAlternativeEntity> DietProductEntity::alternatives() const {
  Value stored = valueAt(kAlternativesDataIndex);
  if (!stored.isBlob()) return {};
  auto list = DietProductAlternativeEntity::parseFromData(stored.asBlob());
  DietMealEntity* owner = meal();
  DietEntity* diet = owner ? owner->diet() : nullptr;
  if (diet)
    for (auto& alternative : list)
      alternative.handbook = diet->handbookForId(alternative.postProductId);
  return list;
}

std::vector<std::int64_t> DietProductEntity::alternativeHandbookIds() const {
  Value stored = valueAt(kAlternativesDataIndex);
  if (!stored.isBlob()) return {};
  std::vector<std::int64_t> ids;
  for (const auto& alternative : DietProductAlternativeEntity::parseFromData(stored.asBlob()))
    ids.push_back(alternative.postProductId);
  return ids;
}

std::vector<std::int64_t> DietProductEntity::allPostProductsIds() const {
  auto ids = alternativeHandbookIds();
  if (hasHandbookPostID()) ids.push_back(handbookPostID());
  return ids;
}

float DietProductEntity::nutrient(std::optional<double> (HandbookPostProductEntity::*value)()
                                      const) const {
  HandbookPostProductEntity* product = handbook();
  if (!product) return 0;
  float portion = static_cast<float>(amountToConsume());
  float per100 = static_cast<float>((product->*value)().value_or(0));
  return portion / 100.0f * per100;
}

float DietProductEntity::calories() const {
  return nutrient(&HandbookPostProductEntity::calories);
}
float DietProductEntity::fats() const {
  return nutrient(&HandbookPostProductEntity::fats);
}
float DietProductEntity::proteins() const {
  return nutrient(&HandbookPostProductEntity::proteins);
}
float DietProductEntity::carbohydrates() const {
  return nutrient(&HandbookPostProductEntity::carbohydrates);
}

}  // namespace dm
