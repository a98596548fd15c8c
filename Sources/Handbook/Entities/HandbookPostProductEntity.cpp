// Food product posts: filling, nutrient and index values with their grades, recipe steps and
// ingredients.
#include "Handbook/Entities/HandbookPostProductEntity.h"

#include <cstdio>
#include <string_view>

#include "Handbook/Entities/DietHandbookRelation.h"
#include "Handbook/Entities/HandbookDictionaryValues.h"
#include "Handbook/Entities/HandbookMedia.h"
#include "Mapping/Enumerations/NutritionEnumerations.h"
#include "Models/HandbookEntities.h"
#include "Platform/Foundation/Logger.h"

namespace dm {

namespace {
// Server keys of the 26 nutrients, the 4 indexes and the cooking time, in field order.
constexpr std::string_view kNumberKeys[] = {
    "calories",
    "proteins",
    "cellulose",
    "carbohydrates",
    "cholesterol",
    "fats",
    "monounsaturated_fats",
    "saturated_fats",
    "polyunsaturated_fats",
    "trans_fatty_acids",
    "beta_carotene",
    "vitamin_a",
    "vitamin_b12",
    "vitamin_b6",
    "vitamin_d",
    "vitamin_e",
    "vitamin_c",
    "riboflavin",
    "iron",
    "potassium",
    "calcium",
    "magnesium",
    "cuprum",
    "natrium",
    "phosphorus",
    "zinc",
    "glycemia_index",
    "density_of_calories_index",
    "inflammatory_factor",
    "antioxidant",
    "cooking_time",
};
static_assert(std::size(kNumberKeys) == 31);
// The nutrients, indexes and cooking time are one run of attributes in the model, read by
// offset from the first.
static_assert(HandbookPostProductEntity::kCookingTimeIndex ==
              HandbookPostProductEntity::kCaloriesIndex + std::size(kNumberKeys) - 1);
}  // namespace

void HandbookPostProductEntity::fillFields(const handbook_dict::Dictionary& dict) {
  HandbookPostEntity::fillFields(dict);
  for (std::size_t i = 0; i < std::size(kNumberKeys); ++i)
    setValueAt(kCaloriesIndex + i, handbook_dict::doubleNumber(dict, kNumberKeys[i]));
  setValueAt(kReceiptIndex, handbook_dict::jsonList(dict, "receipt"));
  setValueAt(kIngredientsDataIndex, handbook_dict::jsonList(dict, "ingredients"));
}

Blob HandbookPostProductEntity::receipt() const {
  Value v = valueAt(kReceiptIndex);
  return v.isBlob() ? v.asBlob() : Blob{};
}

Blob HandbookPostProductEntity::ingredientsData() const {
  Value v = valueAt(kIngredientsDataIndex);
  return v.isBlob() ? v.asBlob() : Blob{};
}

void HandbookPostProductEntity::setIngredientsData(Blob data) {
  setValueAt(kIngredientsDataIndex, Value(std::move(data)));
}

std::vector<HandbookPostProductEntity*> HandbookPostProductEntity::handbooksForIngredients() const {
  std::vector<HandbookPostProductEntity*> out;
  for (ManagedObject* o : toManyAt(kHandbooksForIngredientsRelationship))
    if (auto* p = dynamic_cast<HandbookPostProductEntity*>(o)) out.push_back(p);
  return out;
}

void HandbookPostProductEntity::setHandbooksForIngredients(
    const std::vector<HandbookPostProductEntity*>& products) {
  for (ManagedObject* o : toManyAt(kHandbooksForIngredientsRelationship))
    removeFromManyAt(kHandbooksForIngredientsRelationship, o);
  for (HandbookPostProductEntity* p : products)
    addToManyAt(kHandbooksForIngredientsRelationship, p);
}

std::vector<DietHandbookRelation*> HandbookPostProductEntity::diets() const {
  std::vector<DietHandbookRelation*> out;
  ManagedObjectContext* context = managedObjectContext();
  if (!context) return out;
  context->performAndWait([&] {
    try {
      FetchRequest request(context->model().entityNamed(DietHandbookRelation::kEntityName));
      for (ManagedObject* o : context->executeFetchRequest(request)) {
        auto* relation = dynamic_cast<DietHandbookRelation*>(o);
        if (!relation) continue;
        for (HandbookPostProductEntity* p : relation->handbooks())
          if (p == this) {
            out.push_back(relation);
            break;
          }
      }
    } catch (const std::exception&) {
      out.clear();
    }
  });
  return out;
}

std::string HandbookPostProductEntity::nutritionTitleForType(int type) const {
  return TitleForNutritionType(type);
}

std::string HandbookPostProductEntity::indexTitleForType(int type) const {
  return TitleForProductIndexType(type);
}

std::optional<double> HandbookPostProductEntity::nutritionValueForType(int type) const {
  if (type < 0 || type >= kNutritionTypeCount) return std::nullopt;
  return optionalDouble(kCaloriesIndex + static_cast<std::size_t>(type));
}

std::optional<double> HandbookPostProductEntity::indexValueForType(int type) const {
  if (type < 0 || type >= kIndexTypeCount) return std::nullopt;
  return optionalDouble(kCaloriesIndex + kNutritionTypeCount + static_cast<std::size_t>(type));
}

std::string HandbookPostProductEntity::indexStringValueForType(int type) const {
  auto value = indexValueForType(type);
  char buffer[64];
  if (type == 1)
    std::snprintf(buffer, sizeof buffer, "%.2f",
                  static_cast<double>(static_cast<float>(value.value_or(0))));
  else
    std::snprintf(buffer, sizeof buffer, "%lld", static_cast<long long>(value.value_or(0)));
  return buffer;
}

float HandbookPostProductEntity::indexPercent(int type) const {
  auto value = indexValueForType(type);
  if (!value) return 0;
  float v = static_cast<float>(*value);
  switch (type) {
    case 0:
      return v / 120;
    case 1:
      return v / 6;
    case 2:
      return 0.5f + (v / 2000) * 0.5f;
    case 3:
      return v / 10000;
    default:
      return 0;
  }
}

int HandbookPostProductEntity::indexStatus(int type) const {
  auto value = indexValueForType(type);
  if (!value) return 0;
  float v = static_cast<float>(*value);
  switch (type) {
    case 0:
      return v <= 55 ? 2 : v <= 69 ? 3 : 4;
    case 1:
      return v <= 0.5f ? 1 : v <= 1 ? 2 : v <= 2 ? 3 : v <= 3 ? 4 : 5;
    case 2:
      return v <= -500 ? 2 : v <= 500 ? 3 : 4;
    case 3:
      return v <= 1000 ? 2 : v <= 10000 ? 3 : 4;
    default:
      return 0;
  }
}

std::string HandbookPostProductEntity::photoUrlWithSize(const std::string& size) const {
  std::string text = photo();
  if (text.empty()) return {};
  static constexpr std::string_view kPlaceholder = "{size}";
  for (std::size_t at = text.find(kPlaceholder); at != std::string::npos;
       at = text.find(kPlaceholder, at + size.size()))
    text.replace(at, kPlaceholder.size(), size);
  return handbook_url::urlWithString(handbook_url::trimmed(text));
}

std::vector<IngredientEntity> HandbookPostProductEntity::ingredients() const {
  Value data = valueAt(kIngredientsDataIndex);
  auto list = IngredientEntity::parseFromDataObjc(data.isBlob() ? std::optional<Blob>(data.asBlob())
                                                                : std::nullopt);
  if (list.empty()) return list;
  auto products = handbooksForIngredients();
  for (IngredientEntity& ingredient : list) {
    for (HandbookPostProductEntity* product : products) {
      if (static_cast<std::int32_t>(product->entityID().value_or(0)) == ingredient.postProductId) {
        ingredient.handbookPost = product;
        break;
      }
    }
  }
  return list;
}

std::vector<std::string> HandbookPostProductEntity::receiptStrings() const {
  Blob bytes = receipt();
  if (bytes.empty()) return {};
  try {
    auto tree = nlohmann::json::parse(bytes.begin(), bytes.end());
    return tree.get<std::vector<std::string>>();
  } catch (const nlohmann::json::exception& error) {
    debugOutput(std::string("Failed to load: ") + error.what());
    return {};
  }
}

}  // namespace dm
