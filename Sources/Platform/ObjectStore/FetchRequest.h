// What to fetch: entity, filter, order, window and the shape of the results.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "Platform/ObjectStore/ManagedObjectModel.h"
#include "Platform/ObjectStore/Predicate.h"

namespace dm {

struct SortDescriptor {
  std::string keyPath;  // attribute or dotted path through to-one relationships
  bool ascending = true;
};

// A plain value; copy it between threads freely.
struct FetchRequest {
  explicit FetchRequest(const EntityDescription* e = nullptr) : entity(e) {}

  const EntityDescription* entity = nullptr;
  bool includesSubentities = true;
  std::optional<Predicate> predicate;
  std::vector<SortDescriptor> sortDescriptors;
  std::size_t fetchLimit = 0;  // 0: no limit
  std::size_t fetchOffset = 0;
  // Objects beyond the first batch come back as faults and load when touched; 0: all loaded.
  std::size_t fetchBatchSize = 0;
  // Faults that load on first access instead of objects with their values.
  bool returnsObjectsAsFaults = false;
  // false: only identifiers are read (results are faults).
  bool includesPropertyValues = true;
};

}  // namespace dm
