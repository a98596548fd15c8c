// Title tables of the food product enumerations.
#include "Mapping/Enumerations/NutritionEnumerations.h"

namespace dm {

const TitleTable& NutritionTypeTitleMappings() {
  static const TitleTable table = localizedTitleTable({{0, "Product.Calories"},
                                                       {1, "Product.Proteins"},
                                                       {2, "Product.Cellulose"},
                                                       {3, "Product.Carbohydrates"},
                                                       {4, "Product.Cholesterol"},
                                                       {5, "Product.Fats"},
                                                       {6, "Product.MonounsaturatedFats"},
                                                       {7, "Product.SaturatedFats"},
                                                       {8, "Product.PolyunsaturatedFats"},
                                                       {9, "Product.TransFattyAcids"},
                                                       {10, "Product.BetaCarotene"},
                                                       {11, "Product.VitaminA"},
                                                       {12, "Product.VitaminB12"},
                                                       {13, "Product.VitaminB6"},
                                                       {14, "Product.VitaminD"},
                                                       {15, "Product.VitaminE"},
                                                       {16, "Product.VitaminC"},
                                                       {17, "Product.Riboflavin"},
                                                       {18, "Product.Iron"},
                                                       {19, "Product.Potassium"},
                                                       {20, "Product.Calcium"},
                                                       {21, "Product.Magnesium"},
                                                       {22, "Product.Cuprum"},
                                                       {23, "Product.Natrium"},
                                                       {24, "Product.Phosphorus"},
                                                       {25, "Product.Zinc"}},
                                                      kNoCommentProvided);
  return table;
}

std::string TitleForNutritionType(int value) {
  return titleIn(NutritionTypeTitleMappings(), value);
}

const TitleTable& ProductIndexTypeTitleMappings() {
  static const TitleTable table = localizedTitleTable({{0, "Product.GlycemicIndex"},
                                                       {1, "Product.DensityOfCaloriesIndex"},
                                                       {2, "Product.InflammatoryFactor"},
                                                       {3, "Product.Antioxidant"}},
                                                      kNoCommentProvided);
  return table;
}

std::string TitleForProductIndexType(int value) {
  return titleIn(ProductIndexTypeTitleMappings(), value);
}

const TitleTable& ProductIndexStatusTitleMappings() {
  static const TitleTable table = localizedTitleTable({{0, "Product.N/A"},
                                                       {1, "Product.SuperLow"},
                                                       {2, "Product.Low"},
                                                       {3, "Product.Middle"},
                                                       {4, "Product.High"},
                                                       {5, "Product.SuperHigh"}},
                                                      kNoCommentProvided);
  return table;
}

std::string TitleForProductIndexStatus(int value) {
  return titleIn(ProductIndexStatusTitleMappings(), value);
}

}  // namespace dm
