// Handbook posts: filling, post kinds and category queries.
#include "Handbook/Entities/HandbookPostEntity.h"

#include "Handbook/Adapter/HandbookAdapter.h"
#include "Handbook/Entities/HandbookCategoryEntity.h"
#include "Handbook/Entities/HandbookDictionaryValues.h"
#include "Handbook/Entities/HandbookMedia.h"
#include "Mapping/EntityStatus.h"
#include "Models/HandbookEntities.h"

namespace dm {

void HandbookPostEntity::fillFields(const handbook_dict::Dictionary& dict) {
  using namespace handbook_dict;
  HandbookItemEntity::fillFields(dict);
  setValueAt(kCategoryIDIndex, unsignedNumber(dict, "category_id"));
  setValueAt(kDescIndex, text(dict, "description"));
  setValueAt(kWarningIndex, text(dict, "warning"));
  setValueAt(kWarningHtmlIndex, text(dict, "warning_html"));
  setValueAt(kDescHtmlIndex, text(dict, "description_html"));
}

std::string HandbookPostEntity::trimmedDesc() const {
  return handbook_url::trimmed(desc());
}
std::string HandbookPostEntity::trimmedWarning() const {
  return handbook_url::trimmed(warning());
}

const std::map<int, std::string>& HandbookPostEntity::classesOfPosts() {
  static const std::map<int, std::string> table = {
      {1, HandbookPostArticleEntity::kEntityName},
      {2, HandbookPostSportFoodEntity::kEntityName},
      {3, HandbookPostPharmacyEntity::kEntityName},
      {4, "HandbookPostExerciseEntity"},
      {5, "HandbookPostProductEntity"},
      {6, HandbookPostFaqEntity::kEntityName},
  };
  return table;
}

std::string HandbookPostEntity::entityNameForPostType(int type) {
  const auto& table = classesOfPosts();
  auto it = table.find(type);
  return it == table.end() ? std::string(kEntityName) : it->second;
}

HandbookPostType HandbookPostEntity::postType() const {
  int found = 0;
  for (const auto& [type, name] : classesOfPosts())
    if (name == entity().name()) found = type;
  return static_cast<HandbookPostType>(found);
}

Predicate HandbookPostEntity::postsPredicateForCategory(const HandbookCategoryEntity* category) {
  Value id;
  if (category) {
    if (auto v = category->entityID()) id = Value(*v);
  }
  return Predicate::parse("categoryID = %@ AND statusString = %@",
                          {id, Value(codeForEntityStatus(EntityStatus::Published).value_or(""))});
}

std::vector<HandbookPostEntity*> HandbookPostEntity::postsForCategory(
    const HandbookCategoryEntity* category) {
  int type = category ? static_cast<int>(category->postType()) : 0;
  return HandbookAdapter::shared().getEntities(type, {"entityID"},
                                               postsPredicateForCategory(category));
}

std::size_t HandbookPostEntity::postsCountForCategory(const HandbookCategoryEntity* category) {
  int type = category ? static_cast<int>(category->postType()) : 0;
  return HandbookAdapter::shared().getPostEntitiesCount(type, postsPredicateForCategory(category));
}

Predicate HandbookPostEntity::recursivePostsPredicateForCategory(
    const HandbookCategoryEntity* category) {
  std::vector<Predicate> parts;
  if (category && category->subcategoriesCount() != 0) {
    for (const HandbookCategoryEntity* sub : category->subcategories())
      parts.push_back(postsPredicateForCategory(sub));
  }
  parts.push_back(postsPredicateForCategory(category));
  return Predicate::orPredicate(std::move(parts));
}

HandbookCategoryEntity* HandbookPostEntity::category() const {
  auto id = categoryID();
  if (!id) return nullptr;
  return HandbookAdapter::shared().getCategoryEntity(*id);
}

}  // namespace dm
