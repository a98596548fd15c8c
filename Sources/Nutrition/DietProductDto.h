// What the diet screens show of a stored line and its alternatives.
#pragma once

#include <cstdint>
#include <vector>

#include "Nutrition/DietProductAlternativeEntity.h"

namespace dm {

class DietEntity;
class DietProductEntity;
class HandbookPostProductEntity;

// Plain values; the handbook products are not owned (valid on the diet's context queue).
struct DietProductAlternativeDto {
  std::int64_t postProductId = 0;
  double amountToConsume = 0;
  HandbookPostProductEntity* handbook = nullptr;

  // The alternative's own product (resolved through the diet's cache) is the handbook shown.
  DietProductAlternativeDto(const DietProductAlternativeEntity& alternative, const DietEntity& diet,
                            const DietProductEntity& product);
};

struct DietProductDto {
  double amountToConsume = 0;  // 0 when the stored line has no portion
  std::vector<DietProductAlternativeDto> alternatives;
  HandbookPostProductEntity* handbook = nullptr;

  // On the line's context queue.
  DietProductDto(const DietProductEntity& product, const DietEntity& diet);
};

}  // namespace dm
