// The food product post of the handbook: nutrients per 100 units of weight, the four index
// values with their grades, recipe steps and ingredients.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Handbook/Entities/HandbookPostEntity.h"
#include "Handbook/Entities/IngredientEntity.h"

namespace dm {

class DietHandbookRelation;

// Threads as HandbookItemEntity. Nutrient values are empty (std::nullopt) when the server
// did not send them.
class HandbookPostProductEntity : public HandbookPostEntity {
 public:
  static constexpr const char* kEntityName = "HandbookPostProductEntity";
  // Nutrition types 0-25 and index types 0-3, in the order of the model's fields.
  static constexpr int kNutritionTypeCount = 26;
  static constexpr int kIndexTypeCount = 4;

  std::optional<double> calories() const { return optionalDouble(kFirstPostKindIndex + 0); }
  std::optional<double> proteins() const { return optionalDouble(kFirstPostKindIndex + 1); }
  std::optional<double> cellulose() const { return optionalDouble(kFirstPostKindIndex + 2); }
  std::optional<double> carbohydrates() const { return optionalDouble(kFirstPostKindIndex + 3); }
  std::optional<double> cholesterol() const { return optionalDouble(kFirstPostKindIndex + 4); }
  std::optional<double> fats() const { return optionalDouble(kFirstPostKindIndex + 5); }
  std::optional<double> monounsaturatedFats() const {
    return optionalDouble(kFirstPostKindIndex + 6);
  }
  std::optional<double> saturatedFats() const { return optionalDouble(kFirstPostKindIndex + 7); }
  std::optional<double> polyunsaturatedFats() const {
    return optionalDouble(kFirstPostKindIndex + 8);
  }
  std::optional<double> transFattyAcids() const { return optionalDouble(kFirstPostKindIndex + 9); }
  std::optional<double> betaCarotene() const { return optionalDouble(kFirstPostKindIndex + 10); }
  std::optional<double> vitaminA() const { return optionalDouble(kFirstPostKindIndex + 11); }
  std::optional<double> vitaminB12() const { return optionalDouble(kFirstPostKindIndex + 12); }
  std::optional<double> vitaminB6() const { return optionalDouble(kFirstPostKindIndex + 13); }
  std::optional<double> vitaminD() const { return optionalDouble(kFirstPostKindIndex + 14); }
  std::optional<double> vitaminE() const { return optionalDouble(kFirstPostKindIndex + 15); }
  std::optional<double> vitaminC() const { return optionalDouble(kFirstPostKindIndex + 16); }
  std::optional<double> riboflavin() const { return optionalDouble(kFirstPostKindIndex + 17); }
  std::optional<double> iron() const { return optionalDouble(kFirstPostKindIndex + 18); }
  std::optional<double> potassium() const { return optionalDouble(kFirstPostKindIndex + 19); }
  std::optional<double> calcium() const { return optionalDouble(kFirstPostKindIndex + 20); }
  std::optional<double> magnesium() const { return optionalDouble(kFirstPostKindIndex + 21); }
  std::optional<double> cuprum() const { return optionalDouble(kFirstPostKindIndex + 22); }
  std::optional<double> natrium() const { return optionalDouble(kFirstPostKindIndex + 23); }
  std::optional<double> phosphorus() const { return optionalDouble(kFirstPostKindIndex + 24); }
  std::optional<double> zinc() const { return optionalDouble(kFirstPostKindIndex + 25); }
  std::optional<double> glycemiaIndex() const { return optionalDouble(kFirstPostKindIndex + 26); }
  std::optional<double> densityOfCaloriesIndex() const {
    return optionalDouble(kFirstPostKindIndex + 27);
  }
  std::optional<double> inflammatoryFactor() const {
    return optionalDouble(kFirstPostKindIndex + 28);
  }
  std::optional<double> antioxidant() const { return optionalDouble(kFirstPostKindIndex + 29); }
  std::optional<double> cookingTime() const { return optionalDouble(kFirstPostKindIndex + 30); }
  // The server's recipe steps as JSON text bytes; empty when none.
  Blob receipt() const;
  // The server's ingredient dictionaries as JSON text bytes; empty when none.
  Blob ingredientsData() const;
  void setIngredientsData(Blob data);

  // Product posts that this product's ingredients name.
  std::vector<HandbookPostProductEntity*> handbooksForIngredients() const;
  void setHandbooksForIngredients(const std::vector<HandbookPostProductEntity*>& products);
  // The diet relations whose handbooks hold this product (looked up in this record's
  // context; the relation keeps the link, so this side is derived).
  std::vector<DietHandbookRelation*> diets() const;

  // Titles through TitleForNutritionType / TitleForProductIndexType.
  std::string nutritionTitleForType(int type) const;
  std::string indexTitleForType(int type) const;
  // The nutrient of a type 0-25, else empty.
  std::optional<double> nutritionValueForType(int type) const;
  // 0 glycemia, 1 calorie density, 2 inflammatory factor, 3 antioxidant; else empty.
  std::optional<double> indexValueForType(int type) const;
  // Type 1 as "%.2f", every other type as a whole number.
  std::string indexStringValueForType(int type) const;
  // Fill of the index's scale; 0 when the value is empty or the type unknown.
  float indexPercent(int type) const;
  // Grade of the index (bounds inclusive); 0 when the value is empty or the type unknown.
  int indexStatus(int type) const;
  // Nutrient values are per 100 units of weight.
  int calculatedWeight() const { return 100; }
  std::string bigPhotoUrl() const { return photoUrlWithSize("1400x1040"); }
  std::string smallPhotoUrl() const { return photoUrlWithSize("600x233"); }
  // photo with every "{size}" replaced, trimmed, as a URL; "" without photo.
  std::string photoUrlWithSize(const std::string& size) const;
  // ingredientsData decoded; each resolved to the first member of handbooksForIngredients
  // whose id (as a 32-bit integer) equals its postProductId.
  std::vector<IngredientEntity> ingredients() const;
  // receipt decoded as a JSON list of texts; empty when absent or unreadable ("Failed to
  // load: " + reason goes to the debug output).
  std::vector<std::string> receiptStrings() const;

 protected:
  static constexpr std::size_t kCookingTimeIndex = kFirstPostKindIndex + 30;
  static constexpr std::size_t kReceiptIndex = kFirstPostKindIndex + 31;
  static constexpr std::size_t kIngredientsDataIndex = kFirstPostKindIndex + 32;
  static constexpr std::size_t kHandbooksForIngredientsRelationship = 0;
  void fillFields(const handbook_dict::Dictionary& dict) override;
  // Food products are never pre-cached.
  void applyKindStep() override { setIsNeedsCache(false); }
};

}  // namespace dm
