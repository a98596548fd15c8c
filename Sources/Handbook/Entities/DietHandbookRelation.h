// Which handbook food products a diet uses, kept in the handbook store.
#pragma once

#include <cstdint>
#include <vector>

#include "Handbook/DietHandbookRelationGenerated.h"

namespace dm {

class HandbookPostProductEntity;
class ManagedObjectContext;

// Threads and ownership as ManagedObject. The generated accessors give dietId and language.
class DietHandbookRelation : public DietHandbookRelationGenerated {
 public:
  std::vector<HandbookPostProductEntity*> handbooks() const;
  // Replaces the set.
  void setHandbooks(const std::vector<HandbookPostProductEntity*>& products);

  // Sets dietId and replaces handbooks on `entity`, or on a new relation inserted into
  // `context` when null; runs on the context's queue (the caller waits); any thread.
  // The products must belong to `context`. Returns the relation, owned by the context.
  static DietHandbookRelation* createWithEntity(
      DietHandbookRelation* entity, ManagedObjectContext& context, std::int64_t dietId,
      const std::vector<HandbookPostProductEntity*>& handbooks);
};

}  // namespace dm
