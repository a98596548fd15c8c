// Screen values of diet lines.
#include "Nutrition/DietProductDto.h"

#include "Nutrition/DietProductEntity.h"

namespace dm {

DietProductAlternativeDto::DietProductAlternativeDto(
    const DietProductAlternativeEntity& alternative, const DietEntity& /*diet*/,
    const DietProductEntity& /*product*/)
    : postProductId(alternative.postProductId),
      amountToConsume(static_cast<double>(alternative.productPortion)),
      handbook(alternative.handbook) {}

DietProductDto::DietProductDto(const DietProductEntity& product, const DietEntity& diet)
    : amountToConsume(product.hasAmountToConsume() ? product.amountToConsume() : 0.0),
      handbook(product.handbook()) {
  for (const auto& alternative : product.alternatives())
    alternatives.emplace_back(alternative, diet, product);
}

}  // namespace dm
