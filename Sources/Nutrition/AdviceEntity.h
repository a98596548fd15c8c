// A trainer's advice for a course.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "Mapping/ImageProvider.h"
#include "Nutrition/AdviceEntityGenerated.h"

namespace dm {

class ManagedObjectContext;

// Threads and ownership as ManagedObject.
class AdviceEntity : public AdviceEntityGenerated {
 public:
  // Every stored advice of the course, newest updatedAt first. On the context's queue.
  static std::vector<AdviceEntity*> allAdvicesForCourseId(ManagedObjectContext& context,
                                                          std::int64_t courseId);
  // The asset "advice<typeId>", or "advice1" when typeId is unset or has no asset.
  std::optional<ImageHandle> iconImage() const;
};

}  // namespace dm
