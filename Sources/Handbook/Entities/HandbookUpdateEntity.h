// One downloaded batch of handbook changes: its status, version and the records it carried.
#pragma once

#include <functional>
#include <optional>
#include <vector>

#include "Handbook/HandbookUpdateEntityGenerated.h"
#include "Mapping/Enumerations/HandbookEnumerations.h"

namespace dm {

class HandbookItemEntity;
class HandbookCategoryEntity;
class HandbookFilterTagEntity;
class HandbookPostEntity;

// Threads and ownership as ManagedObject. The generated accessors give entityID,
// amountOfChanges, date, statusString, version and language.
class HandbookUpdateEntity : public HandbookUpdateEntityGenerated {
 public:
  // The sets, by relationship index of the generated base (kCategoriesRelationship, ...).
  std::vector<HandbookItemEntity*> itemsOf(std::size_t relationship) const;
  void setItemsOf(std::size_t relationship, const std::vector<HandbookItemEntity*>& items);

  // From statusString through HandbookStatusMappings; nothing when unknown.
  std::optional<HandbookStatus> status() const;
  void setStatus(HandbookStatus status);

  // categories, postsArticle, postsPharmacy, postsExercise, postsFaq, postsProduct,
  // postsSportFood, filterTags, concatenated in that order.
  std::vector<HandbookItemEntity*> allItems() const;
  // The same without postsProduct: product images are not pre-cached.
  std::vector<HandbookItemEntity*> itemsForCache() const;

  // The latest batch on the adapter's main context (main thread), or nullptr.
  static HandbookUpdateEntity* lastUpdate();
  // The latest batch as the saving context sees it, handed to `completion` on the saving
  // context's queue (nullptr when there is none).
  static void lastUpdateForSavingWithCompletion(
      const std::function<void(HandbookUpdateEntity*)>& completion);
};

}  // namespace dm
