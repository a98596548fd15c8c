// Handbook lookups of product-list answers.
#include "Nutrition/ProductListHandbook.h"

#include "Handbook/Adapter/HandbookAdapter.h"
#include "Nutrition/ProductListResponseDish.h"
#include "Nutrition/ProductListResponseProduct.h"

namespace dm {

HandbookPostProductEntity* handbookPost(const ProductListResponseProduct& product) {
  if (!product.hasPostProductId()) return nullptr;
  return HandbookAdapter::shared().getPostProductEntity(product.postProductId());
}

HandbookPostProductEntity* handbookPost(const ProductListResponseDish& dish) {
  if (!dish.hasPostProductId()) return nullptr;
  return HandbookAdapter::shared().getPostProductEntity(dish.postProductId());
}

}  // namespace dm
