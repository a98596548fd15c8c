// Diet-to-product relations of the handbook store.
#include "Handbook/Entities/DietHandbookRelation.h"

#include "Handbook/Entities/HandbookPostProductEntity.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"

namespace dm {

std::vector<HandbookPostProductEntity*> DietHandbookRelation::handbooks() const {
  std::vector<HandbookPostProductEntity*> out;
  for (ManagedObject* o : toManyAt(kHandbooksRelationship))
    if (auto* p = dynamic_cast<HandbookPostProductEntity*>(o)) out.push_back(p);
  return out;
}

void DietHandbookRelation::setHandbooks(const std::vector<HandbookPostProductEntity*>& products) {
  for (ManagedObject* o : toManyAt(kHandbooksRelationship))
    removeFromManyAt(kHandbooksRelationship, o);
  for (HandbookPostProductEntity* p : products) addToManyAt(kHandbooksRelationship, p);
}

DietHandbookRelation* DietHandbookRelation::createWithEntity(
    DietHandbookRelation* entity, ManagedObjectContext& context, std::int64_t dietId,
    const std::vector<HandbookPostProductEntity*>& handbooks) {
  DietHandbookRelation* result = entity;
  context.performAndWait([&] {
    if (!result) result = context.insertNew<DietHandbookRelation>(kEntityName);
    if (!result) return;
    result->setDietId(dietId);
    result->setHandbooks(handbooks);
  });
  return result;
}

}  // namespace dm
