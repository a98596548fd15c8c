// The answer to a product-list query: categories holding products, products holding dishes,
// each naming a handbook product by number. Mapped with the records' declared mappings.
#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "Nutrition/ProductListResponseCategory.h"
#include "Nutrition/ProductListResponseDish.h"
#include "Nutrition/ProductListResponseProduct.h"

namespace dm {

struct MappingOptions;

// Maps the categories under `keyPath` ("" for the root; an object is one category, an array
// one each) with ProductListResponseCategory's response mapping, nested products and dishes
// in the answer's order. A category without products has an empty list. Throws MappingError
// for text that is not JSON or values of the wrong kind (with options.skipInvalidValues such
// values are left out instead). The records are the caller's. Any thread.
std::vector<std::shared_ptr<ProductListResponseCategory>> productListCategoriesFromAnswer(
    std::string_view json, std::string_view keyPath = "categories");
std::vector<std::shared_ptr<ProductListResponseCategory>> productListCategoriesFromAnswer(
    std::string_view json, std::string_view keyPath, const MappingOptions& options);

}  // namespace dm
