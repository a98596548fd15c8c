// Handbook categories: filling, post kind and subcategory queries.
#include "Handbook/Entities/HandbookCategoryEntity.h"

#include "Handbook/Adapter/HandbookAdapter.h"
#include "Handbook/Entities/HandbookDictionaryValues.h"
#include "Models/HandbookEntities.h"

namespace dm {

void HandbookCategoryEntity::fillFields(const handbook_dict::Dictionary& dict) {
  HandbookItemEntity::fillFields(dict);
  setValueAt(kParentIDIndex, handbook_dict::unsignedNumber(dict, "parent_id"));
  setValueAt(kPostTypeStringIndex, handbook_dict::text(dict, "post_type"));
}

std::optional<EntityStatus> HandbookCategoryEntity::status() const {
  return entityStatusForCode(statusString());
}

HandbookPostType HandbookCategoryEntity::postType() const {
  if (auto type = HandbookPostTypeMappings().enumForCode<HandbookPostType>(postTypeString()))
    return *type;
  return HandbookPostType::Undefined;
}

void HandbookCategoryEntity::setPostType(HandbookPostType type) {
  setPostTypeString(HandbookPostTypeMappings().codeForEnum(type).value_or(""));
}

Predicate HandbookCategoryEntity::subcategoriesPredicateForCategory(
    const HandbookCategoryEntity* category) {
  Value id;
  if (category) {
    if (auto v = category->entityID()) id = Value(*v);
  }
  return Predicate::parse("parentID = %@ AND statusString = %@",
                          {id, Value(codeForEntityStatus(EntityStatus::Published).value_or(""))});
}

std::vector<HandbookCategoryEntity*> HandbookCategoryEntity::subcategoriesForCategory(
    const HandbookCategoryEntity* category) {
  return HandbookAdapter::shared().getCategoryEntities("entityID", true,
                                                       subcategoriesPredicateForCategory(category));
}

std::size_t HandbookCategoryEntity::subcategoriesCountForCategory(
    const HandbookCategoryEntity* category) {
  return HandbookAdapter::shared().getCategoryEntitiesCount(
      subcategoriesPredicateForCategory(category));
}

const std::vector<HandbookCategoryEntity*>& HandbookCategoryEntity::subcategories() const {
  if (!subcategories_) subcategories_ = subcategoriesForCategory(this);
  return *subcategories_;
}

std::size_t HandbookCategoryEntity::subcategoriesCount() const {
  if (subcategories_) return subcategories_->size();
  return subcategoriesCountForCategory(this);
}

}  // namespace dm
