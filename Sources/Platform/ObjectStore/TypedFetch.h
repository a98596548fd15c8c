// A fetch that answers with a record class instead of ManagedObject: the entity is the class's
// own (T::kEntityName), and objects of other classes (none, unless a subclass is registered
// elsewhere) are left out.
#pragma once

#include <optional>
#include <utility>
#include <vector>

#include "Platform/ObjectStore/FetchRequest.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"

namespace dm {

// Runs on the context's queue like executeFetchRequest, and throws what it throws.
template <class T>
std::vector<T*> fetchRecords(ManagedObjectContext& context,
                             std::optional<Predicate> predicate = std::nullopt,
                             std::vector<SortDescriptor> sort = {}) {
  FetchRequest request(context.model().entityNamed(T::kEntityName));
  request.predicate = std::move(predicate);
  request.sortDescriptors = std::move(sort);
  std::vector<T*> records;
  for (auto* object : context.executeFetchRequest(request))
    if (auto* record = dynamic_cast<T*>(object)) records.push_back(record);
  return records;
}

}  // namespace dm
