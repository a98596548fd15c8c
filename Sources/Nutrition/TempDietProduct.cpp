// Editor products from stored lines, and their wire form.
#include "Nutrition/TempDietProduct.h"

#include "Handbook/Entities/HandbookPostProductEntity.h"
#include "Nutrition/DietProductEntity.h"

namespace dm {

TempDietProduct::TempDietProduct(HandbookPostProductEntity* handbook,
                                 std::optional<double> ammountToCosume, std::string comment)
    : handbook(handbook), ammountToCosume(ammountToCosume), comment(std::move(comment)) {}

TempDietProduct::TempDietProduct(const DietProductEntity& product)
    : handbook(product.handbook()),
      ammountToCosume(product.hasAmountToConsume()
                          ? std::optional<double>(product.amountToConsume())
                          : std::nullopt),
      comment(product.hasComment() ? product.comment() : std::string()),
      entityId(product.entityID()),
      alternatives(product.alternatives()) {
  if (handbook) ingredients = handbook->ingredients();
}

std::shared_ptr<TempDietProductDto> withTempProduct(const TempDietProduct& product) {
  auto dto = std::make_shared<TempDietProductDto>();
  if (product.handbook)
    if (auto id = product.handbook->entityID()) dto->setHandbookId(*id);
  if (product.ammountToCosume) dto->setAmmountToCosume(*product.ammountToCosume);
  dto->setComment(product.comment);
  return dto;
}

}  // namespace dm
