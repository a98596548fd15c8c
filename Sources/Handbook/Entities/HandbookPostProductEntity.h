// The food product post of the handbook: nutrients per 100 units of weight, the four index
// values with their grades, recipe steps and ingredients.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Handbook/Entities/IngredientEntity.h"
#include "Handbook/HandbookPostProductEntityGenerated.h"

namespace dm {

class DietHandbookRelation;

// Threads as HandbookItemEntity. Nutrient values are empty (std::nullopt) when the server
// did not send them.
class HandbookPostProductEntity : public HandbookPostProductEntityGenerated {
 public:
  // Nutrition types 0-25 and index types 0-3, in the order of the model's fields.
  static constexpr int kNutritionTypeCount = 26;
  static constexpr int kIndexTypeCount = 4;

  std::optional<double> calories() const { return optionalDouble(kCaloriesIndex); }
  std::optional<double> proteins() const { return optionalDouble(kProteinsIndex); }
  std::optional<double> cellulose() const { return optionalDouble(kCelluloseIndex); }
  std::optional<double> carbohydrates() const { return optionalDouble(kCarbohydratesIndex); }
  std::optional<double> cholesterol() const { return optionalDouble(kCholesterolIndex); }
  std::optional<double> fats() const { return optionalDouble(kFatsIndex); }
  std::optional<double> monounsaturatedFats() const {
    return optionalDouble(kMonounsaturatedFatsIndex);
  }
  std::optional<double> saturatedFats() const { return optionalDouble(kSaturatedFatsIndex); }
  std::optional<double> polyunsaturatedFats() const {
    return optionalDouble(kPolyunsaturatedFatsIndex);
  }
  std::optional<double> transFattyAcids() const { return optionalDouble(kTransFattyAcidsIndex); }
  std::optional<double> betaCarotene() const { return optionalDouble(kBetaCaroteneIndex); }
  std::optional<double> vitaminA() const { return optionalDouble(kVitaminAIndex); }
  std::optional<double> vitaminB12() const { return optionalDouble(kVitaminB12Index); }
  std::optional<double> vitaminB6() const { return optionalDouble(kVitaminB6Index); }
  std::optional<double> vitaminD() const { return optionalDouble(kVitaminDIndex); }
  std::optional<double> vitaminE() const { return optionalDouble(kVitaminEIndex); }
  std::optional<double> vitaminC() const { return optionalDouble(kVitaminCIndex); }
  std::optional<double> riboflavin() const { return optionalDouble(kRiboflavinIndex); }
  std::optional<double> iron() const { return optionalDouble(kIronIndex); }
  std::optional<double> potassium() const { return optionalDouble(kPotassiumIndex); }
  std::optional<double> calcium() const { return optionalDouble(kCalciumIndex); }
  std::optional<double> magnesium() const { return optionalDouble(kMagnesiumIndex); }
  std::optional<double> cuprum() const { return optionalDouble(kCuprumIndex); }
  std::optional<double> natrium() const { return optionalDouble(kNatriumIndex); }
  std::optional<double> phosphorus() const { return optionalDouble(kPhosphorusIndex); }
  std::optional<double> zinc() const { return optionalDouble(kZincIndex); }
  std::optional<double> glycemiaIndex() const { return optionalDouble(kGlycemiaIndexIndex); }
  std::optional<double> densityOfCaloriesIndex() const {
    return optionalDouble(kDensityOfCaloriesIndexIndex);
  }
  std::optional<double> inflammatoryFactor() const {
    return optionalDouble(kInflammatoryFactorIndex);
  }
  std::optional<double> antioxidant() const { return optionalDouble(kAntioxidantIndex); }
  std::optional<double> cookingTime() const { return optionalDouble(kCookingTimeIndex); }
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
  void fillFields(const handbook_dict::Dictionary& dict) override;
  // Food products are never pre-cached.
  void applyKindStep() override { setIsNeedsCache(false); }
};

}  // namespace dm
