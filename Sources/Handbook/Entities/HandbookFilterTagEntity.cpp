// Handbook filter tags: filling, type and tag queries.
#include "Handbook/Entities/HandbookFilterTagEntity.h"

#include <algorithm>

#include "Handbook/Adapter/HandbookAdapter.h"
#include "Handbook/Entities/HandbookDictionaryValues.h"
#include "Models/HandbookEntities.h"

namespace dm {

void HandbookFilterTagEntity::fillFields(const handbook_dict::Dictionary& dict) {
  HandbookItemEntity::fillFields(dict);
  setValueAt(kTypeStringIndex, handbook_dict::text(dict, "type"));
}

HandbookFilterTagType HandbookFilterTagEntity::type() const {
  return HandbookFilterTagTypeMappings()
      .enumForCode<HandbookFilterTagType>(typeString())
      .value_or(HandbookFilterTagType::Undefined);
}

std::string HandbookFilterTagEntity::typeStringFromType(int type) {
  switch (type) {
    case 1:
      return "location";
    case 2:
      return "muscles";
    case 3:
      return "equipment";
    default:
      return {};
  }
}

std::vector<HandbookFilterTagEntity*> HandbookFilterTagEntity::allEntities() {
  return HandbookAdapter::shared().getFilterTagEntities();
}

std::vector<HandbookFilterTagEntity*> HandbookFilterTagEntity::allEntitiesWithType(
    HandbookFilterTagType type) {
  std::string code = HandbookFilterTagTypeMappings().codeForEnum(type).value_or("");
  auto tags = HandbookAdapter::shared().getFilterTagEntities(code);
  std::stable_sort(tags.begin(), tags.end(), [](const auto* a, const auto* b) {
    return a->entityID().value_or(0) < b->entityID().value_or(0);
  });
  return tags;
}

HandbookFilterTagEntity* HandbookFilterTagEntity::entityWithId(std::int64_t tagId) {
  return HandbookAdapter::shared().getFilterTagEntity(tagId);
}

}  // namespace dm
