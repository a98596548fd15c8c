// Handbook products named by the product-list answer.
#pragma once

namespace dm {

class HandbookPostProductEntity;
class ProductListResponseDish;
class ProductListResponseProduct;

// The handbook product of postProductId through the adapter's cache; nullptr when unknown.
HandbookPostProductEntity* handbookPost(const ProductListResponseProduct& product);
HandbookPostProductEntity* handbookPost(const ProductListResponseDish& dish);

}  // namespace dm
