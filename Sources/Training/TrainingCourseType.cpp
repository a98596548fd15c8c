// Course type and preset lookup.
#include "Training/TrainingCourseType.h"

#include "Platform/ObjectStore/FetchRequest.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"
#include "Training/TrainingCourseEntity.h"
#include "Training/TrainingCoursePresetEntity.h"

namespace dm {

TrainingCourseType courseTypeOf(const TrainingCourseEntity& course) {
  if (course.hasPresetId()) return TrainingCourseType::Preset;
  if (course.hasInvoiceId() && course.invoiceId() != 0) return TrainingCourseType::Invoice;
  return TrainingCourseType::Other;
}

TrainingCoursePresetEntity* presetOf(const TrainingCourseEntity& course) {
  auto* context = course.managedObjectContext();
  if (!context || !course.hasPresetId()) return nullptr;
  FetchRequest request(context->model().entityNamed(TrainingCoursePresetEntity::kEntityName));
  request.predicate = Predicate::keyEquals("entityID", Value(course.presetId()));
  request.fetchLimit = 1;
  auto found = context->executeFetchRequest(request);
  return found.empty() ? nullptr : dynamic_cast<TrainingCoursePresetEntity*>(found.front());
}

}  // namespace dm
