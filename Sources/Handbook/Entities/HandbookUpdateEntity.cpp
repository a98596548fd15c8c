// Handbook update batches: status and the ordered item lists.
#include "Handbook/Entities/HandbookUpdateEntity.h"

#include "Handbook/Adapter/HandbookAdapter.h"
#include "Handbook/Entities/HandbookItemEntity.h"

namespace dm {

namespace {
using U = HandbookUpdateEntityGenerated;
constexpr std::size_t kAllOrder[] = {
    U::kCategoriesRelationship,     U::kPostsArticleRelationship, U::kPostsPharmacyRelationship,
    U::kPostsExerciseRelationship,  U::kPostsFaqRelationship,     U::kPostsProductRelationship,
    U::kPostsSportFoodRelationship, U::kFilterTagsRelationship,
};
}  // namespace

std::vector<HandbookItemEntity*> HandbookUpdateEntity::itemsOf(std::size_t relationship) const {
  std::vector<HandbookItemEntity*> out;
  for (ManagedObject* o : toManyAt(relationship))
    if (auto* item = dynamic_cast<HandbookItemEntity*>(o)) out.push_back(item);
  return out;
}

void HandbookUpdateEntity::setItemsOf(std::size_t relationship,
                                      const std::vector<HandbookItemEntity*>& items) {
  for (ManagedObject* o : toManyAt(relationship)) removeFromManyAt(relationship, o);
  for (HandbookItemEntity* item : items) addToManyAt(relationship, item);
}

std::optional<HandbookStatus> HandbookUpdateEntity::status() const {
  return HandbookStatusMappings().enumForCode<HandbookStatus>(statusString());
}

void HandbookUpdateEntity::setStatus(HandbookStatus status) {
  setStatusString(HandbookStatusMappings().codeForEnum(status).value_or(""));
}

std::vector<HandbookItemEntity*> HandbookUpdateEntity::allItems() const {
  std::vector<HandbookItemEntity*> out;
  for (std::size_t relationship : kAllOrder) {
    auto items = itemsOf(relationship);
    out.insert(out.end(), items.begin(), items.end());
  }
  return out;
}

std::vector<HandbookItemEntity*> HandbookUpdateEntity::itemsForCache() const {
  std::vector<HandbookItemEntity*> out;
  for (std::size_t relationship : kAllOrder) {
    if (relationship == U::kPostsProductRelationship) continue;
    auto items = itemsOf(relationship);
    out.insert(out.end(), items.begin(), items.end());
  }
  return out;
}

HandbookUpdateEntity* HandbookUpdateEntity::lastUpdate() {
  auto& adapter = HandbookAdapter::shared();
  return adapter.getLastUpdateEntity(adapter.mainContext().get());
}

void HandbookUpdateEntity::lastUpdateForSavingWithCompletion(
    const std::function<void(HandbookUpdateEntity*)>& completion) {
  HandbookAdapter::shared().getLastUpdateEntityForSaving(completion);
}

}  // namespace dm
