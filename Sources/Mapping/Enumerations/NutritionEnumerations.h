// Enumerations of food product values: the nutrients a product lists, the indexes it is
// rated by and the grades of those indexes. None has a server code; they only have
// display texts.
//
// Every `<Type>TitleMappings` function returns a table that is built once, on first use,
// under its own run-once guard, passing each display key through the localisation lookup
// (with the comment kNoCommentProvided) in the interface language current at that moment;
// a later language change shows only in a new process. The table is immutable afterwards
// and lives for the rest of the process, so any thread may call these and keep the
// reference. `TitleFor<Type>` never fails: a value outside the table yields "".
#pragma once

#include <string>

#include "Mapping/Enumerations/CodeTable.h"

namespace dm {

enum class NutritionType : int {
  Calories = 0,
  Proteins = 1,
  Cellulose = 2,
  Carbohydrates = 3,
  Cholesterol = 4,
  Fats = 5,
  MonounsaturatedFats = 6,
  SaturatedFats = 7,
  PolyunsaturatedFats = 8,
  TransFattyAcids = 9,
  BetaCarotene = 10,
  VitaminA = 11,
  VitaminB12 = 12,
  VitaminB6 = 13,
  VitaminD = 14,
  VitaminE = 15,
  VitaminC = 16,
  Riboflavin = 17,
  Iron = 18,
  Potassium = 19,
  Calcium = 20,
  Magnesium = 21,
  Cuprum = 22,
  Natrium = 23,
  Phosphorus = 24,
  Zinc = 25
};

const TitleTable& NutritionTypeTitleMappings();
std::string TitleForNutritionType(int value);

enum class ProductIndexType : int {
  GlycemicIndex = 0,
  DensityOfCaloriesIndex = 1,
  InflammatoryFactor = 2,
  Antioxidant = 3
};

const TitleTable& ProductIndexTypeTitleMappings();
std::string TitleForProductIndexType(int value);

enum class ProductIndexStatus : int {
  NotAvailable = 0,
  SuperLow = 1,
  Low = 2,
  Middle = 3,
  High = 4,
  SuperHigh = 5
};

const TitleTable& ProductIndexStatusTitleMappings();
std::string TitleForProductIndexStatus(int value);

}  // namespace dm
