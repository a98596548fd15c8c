// Advice queries and icons.
#include "Nutrition/AdviceEntity.h"

#include <string>

#include "Platform/ObjectStore/FetchRequest.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"

namespace dm {

std::vector<AdviceEntity*> AdviceEntity::allAdvicesForCourseId(ManagedObjectContext& context,
                                                               std::int64_t courseId) {
  FetchRequest request(context.model().entityNamed(kEntityName));
  request.predicate = Predicate::parse("courseId == %@", {Value(courseId)});
  request.sortDescriptors = {{"updatedAt", false}};
  std::vector<AdviceEntity*> advices;
  for (ManagedObject* object : context.executeFetchRequest(request))
    if (auto* advice = dynamic_cast<AdviceEntity*>(object)) advices.push_back(advice);
  return advices;
}

std::optional<ImageHandle> AdviceEntity::iconImage() const {
  auto provider = ImageProvider::shared();
  if (hasTypeId())
    if (auto image = provider->imageNamed("advice" + std::to_string(typeId()))) return image;
  return provider->imageNamed("advice1");
}

}  // namespace dm
