// A product line being composed in the diet editor, before it is saved or sent.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Handbook/Entities/IngredientEntity.h"
#include "Nutrition/DietProductAlternativeEntity.h"
#include "Nutrition/TempDietProductDto.h"

namespace dm {

class DietProductEntity;
class HandbookPostProductEntity;

// A plain value; the handbook product is not owned (see DietProductAlternativeEntity).
struct TempDietProduct {
  HandbookPostProductEntity* handbook = nullptr;
  std::optional<double> ammountToCosume;  // the amount to consume, spelt as the wire form
  std::string comment;
  std::optional<std::int64_t> entityId;
  std::optional<std::vector<IngredientEntity>> ingredients;
  std::vector<DietProductAlternativeEntity> alternatives;

  TempDietProduct(HandbookPostProductEntity* handbook, std::optional<double> ammountToCosume,
                  std::string comment);
  // From a stored line: its handbook product (through the diet's cache), portion, comment,
  // id, alternatives and the handbook product's ingredients. On the line's context queue.
  explicit TempDietProduct(const DietProductEntity& product);
};

// The wire form of the product: handbook id, portion and comment.
std::shared_ptr<TempDietProductDto> withTempProduct(const TempDietProduct& product);

}  // namespace dm
