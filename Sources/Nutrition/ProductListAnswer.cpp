// Mapping product-list answers into their records.
#include "Nutrition/ProductListAnswer.h"

#include <string>

#include "Mapping/Records/ModelMapper.h"
#include "Mapping/Records/RecordClass.h"
#include "Platform/ObjectMapping/InMemoryDestination.h"
#include "Platform/ObjectMapping/MappingError.h"
#include "Platform/ObjectMapping/MappingOperation.h"

namespace dm {

namespace {

constexpr const char* kCategory = "ProductListResponseCategory";
constexpr const char* kProduct = "ProductListResponseProduct";
constexpr const char* kDish = "ProductListResponseDish";

// The in-memory classes mirror the records' fields (the mapping names them by field).
void registerAnswerClasses(InMemoryDestination& destination) {
  destination.registerClass(
      {kCategory, {{"categoryId", FieldKind::Integer64}}, {{"products", kProduct, true}}});
  destination.registerClass(
      {kProduct,
       {{"postProductId", FieldKind::Integer64}, {"weight", FieldKind::Double}},
       {{"dishes", kDish, true}}});
  destination.registerClass(
      {kDish, {{"postProductId", FieldKind::Integer64}, {"weight", FieldKind::Double}}, {}});
}

template <class Record>
void copyPortion(const InMemoryDestination& destination, ObjectRef object, Record& record) {
  if (Value id = destination.get(object, "postProductId"); !id.isNull())
    record.setPostProductId(id.asInt64());
  if (Value weight = destination.get(object, "weight"); !weight.isNull())
    record.setWeight(weight.asDouble());
}

std::shared_ptr<ProductListResponseProduct> productFrom(const InMemoryDestination& destination,
                                                        ObjectRef object) {
  auto product = std::make_shared<ProductListResponseProduct>();
  copyPortion(destination, object, *product);
  std::vector<std::shared_ptr<ProductListResponseDish>> dishes;
  for (ObjectRef dishObject : destination.toMany(object, "dishes")) {
    auto dish = std::make_shared<ProductListResponseDish>();
    copyPortion(destination, dishObject, *dish);
    dishes.push_back(std::move(dish));
  }
  product->setDishes(dishes);
  return product;
}

}  // namespace

std::vector<std::shared_ptr<ProductListResponseCategory>> productListCategoriesFromAnswer(
    std::string_view json, std::string_view keyPath) {
  return productListCategoriesFromAnswer(json, keyPath, MappingOptions{});
}

std::vector<std::shared_ptr<ProductListResponseCategory>> productListCategoriesFromAnswer(
    std::string_view json, std::string_view keyPath, const MappingOptions& options) {
  const RecordClass* categoryClass = RecordClasses::classNamed(kCategory);
  if (!categoryClass)
    throw MappingError(MappingError::Code::UnknownClass, std::string(keyPath),
                       std::string(kCategory) + " is not registered");
  ModelMapper mapper;
  auto mapping = mapper.responseMappingForClass(*categoryClass);
  InMemoryDestination destination;
  registerAnswerClasses(destination);
  auto result = MappingOperation(destination, options).map(json, keyPath, mapping);

  std::vector<std::shared_ptr<ProductListResponseCategory>> categories;
  for (ObjectRef object : result.objects) {
    auto category = std::make_shared<ProductListResponseCategory>();
    if (Value id = destination.get(object, "categoryId"); !id.isNull())
      category->setCategoryId(id.asInt64());
    std::vector<std::shared_ptr<ProductListResponseProduct>> products;
    for (ObjectRef productObject : destination.toMany(object, "products"))
      products.push_back(productFrom(destination, productObject));
    category->setProducts(products);
    categories.push_back(std::move(category));
  }
  return categories;
}

}  // namespace dm
