// Diet totals, validity helpers and the handbook cache of a diet.
#include "Nutrition/DietEntity.h"

#include <cmath>
#include <unordered_set>

#include "Handbook/Adapter/HandbookAdapter.h"
#include "Handbook/Entities/DietHandbookRelation.h"
#include "Handbook/Entities/HandbookPostProductEntity.h"
#include "Nutrition/DietMealEntity.h"
#include "Nutrition/DietProductEntity.h"
#include "Platform/Foundation/Clock.h"
#include "Platform/Foundation/DateFormatting.h"
#include "Platform/ObjectStore/FetchRequest.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"

namespace dm {

namespace {
// accumulator + value / 100 * portion as one fused multiply-add in double, kept as float.
float addNutrient(float accumulator, std::optional<double> valuePer100, float portion) {
  float value = static_cast<float>(valuePer100.value_or(0));
  return static_cast<float>(std::fma(static_cast<double>(value) / 100.0,
                                     static_cast<double>(portion),
                                     static_cast<double>(accumulator)));
}
}  // namespace

void DietEntity::calculateTotals() {
  float energy = 0, protein = 0, fat = 0, carbohydrate = 0;
  for (DietMealEntity* meal : meals()) {
    for (DietProductEntity* product : meal->products()) {
      HandbookPostProductEntity* handbook = product->handbook();
      if (!handbook) continue;  // missing from the handbook: zero nutrition
      float portion = static_cast<float>(product->amountToConsume());
      energy = addNutrient(energy, handbook->calories(), portion);
      protein = addNutrient(protein, handbook->proteins(), portion);
      fat = addNutrient(fat, handbook->fats(), portion);
      carbohydrate = addNutrient(carbohydrate, handbook->carbohydrates(), portion);
    }
  }
  setCaloriesTotal(energy);
  setProteins(protein);
  setFats(fat);
  setCarbohydrates(carbohydrate);
}

std::string DietEntity::dateString() const {
  if (!hasDate()) return "";
  return stringFromDate(date(), "dd.MM.yyyy");
}

bool DietEntity::created() const {
  return !hasStatus() || status() == "created";
}

bool DietEntity::commentIsEmpty() const {
  return !hasCommonRecommendations() || commonRecommendations().empty();
}

bool DietEntity::isEmpty() const {
  return proteins() == 0 && caloriesTotal() == 0 && carbohydrates() == 0 && fats() == 0;
}

bool DietEntity::showAlternativesForDate(std::optional<Date> date, bool courseHasPreset, Date now) {
  if (!courseHasPreset || !date) return false;
  return isSameDay(*date, now) || *date > now;
}

bool DietEntity::showAlternatives(bool courseHasPreset) const {
  return showAlternativesForDate(hasDate() ? std::optional<Date>(date()) : std::nullopt,
                                 courseHasPreset, Clock::shared()->now());
}

// The course lives in the training layer above this one: it is read through the store's
// model by name rather than through its class.
bool DietEntity::courseHasPreset() const {
  ManagedObjectContext* context = managedObjectContext();
  if (!context || !hasCourseId()) return false;
  FetchRequest request(context->model().entityNamed("TrainingCourseEntity"));
  request.predicate = Predicate::parse("entityID == %@", {Value(courseId())});
  request.fetchLimit = 1;
  auto courses = context->executeFetchRequest(request);
  return !courses.empty() && !courses.front()->valueForKey("presetId").isNull();
}

bool DietEntity::showAlternatives() const {
  return showAlternatives(courseHasPreset());
}

std::vector<std::int64_t> DietEntity::allPostProductsIds() const {
  std::vector<std::int64_t> ids;
  std::unordered_set<std::int64_t> seen;
  for (DietMealEntity* meal : meals())
    for (std::int64_t id : meal->allPostProductsIds())
      if (seen.insert(id).second) ids.push_back(id);
  return ids;
}

DietHandbookRelation* DietEntity::handbooksRelations() {
  if (hr_ && !hr_->handbooks().empty()) return hr_;
  hr_ = HandbookAdapter::shared().getProductHandbookRelationships(entityID());
  return hr_;
}

HandbookPostProductEntity* DietEntity::handbookForId(std::int64_t postProductId) {
  DietHandbookRelation* relation = handbooksRelations();
  if (!relation) return nullptr;
  auto wanted = static_cast<std::int32_t>(postProductId);
  for (HandbookPostProductEntity* product : relation->handbooks())
    if (auto id = product->entityID(); id && static_cast<std::int32_t>(*id) == wanted)
      return product;
  return nullptr;
}

}  // namespace dm
