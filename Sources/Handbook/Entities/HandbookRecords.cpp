// The handbook store's record classes, registered explicitly (nothing relies on static
// initialisers, which a static link may drop).
#include "Handbook/Entities/HandbookRecords.h"

#include <memory>

#include "Handbook/Entities/DietHandbookRelation.h"
#include "Handbook/Entities/HandbookCategoryEntity.h"
#include "Handbook/Entities/HandbookFilterTagEntity.h"
#include "Handbook/Entities/HandbookPostEntity.h"
#include "Handbook/Entities/HandbookPostExerciseEntity.h"
#include "Handbook/Entities/HandbookPostProductEntity.h"
#include "Handbook/Entities/HandbookUpdateEntity.h"
#include "Models/HandbookEntities.h"
#include "Platform/ObjectStore/ManagedObjectClasses.h"

namespace dm {
namespace {

template <class T>
void registerRecord(const char* className) {
  ManagedObjectClasses::registerClass(
      className, [] { return std::unique_ptr<ManagedObject>(std::make_unique<T>()); });
}

}  // namespace

void registerHandbookRecords() {
  registerHandbookGeneratedClasses();
  registerRecord<HandbookCategoryEntity>(HandbookCategoryEntity::kEntityName);
  registerRecord<HandbookFilterTagEntity>(HandbookFilterTagEntity::kEntityName);
  registerRecord<HandbookPostArticleEntity>(HandbookPostArticleEntity::kEntityName);
  registerRecord<HandbookPostFaqEntity>(HandbookPostFaqEntity::kEntityName);
  registerRecord<HandbookPostPharmacyEntity>(HandbookPostPharmacyEntity::kEntityName);
  registerRecord<HandbookPostSportFoodEntity>(HandbookPostSportFoodEntity::kEntityName);
  registerRecord<HandbookPostExerciseEntity>(HandbookPostExerciseEntity::kEntityName);
  registerRecord<HandbookPostProductEntity>(HandbookPostProductEntity::kEntityName);
  registerRecord<HandbookUpdateEntity>("HandbookUpdateEntity");
  registerRecord<DietHandbookRelation>(DietHandbookRelation::kEntityName);
}

}  // namespace dm
