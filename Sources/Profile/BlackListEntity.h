// What the user has blocked about another user: one record per blocked user.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Profile/BlackListEntityGenerated.h"

namespace dm {

class ManagedObjectContext;

// Threads and ownership as ManagedObject. Stored fields, typed accessors and class operations
// come from the store model (BlackListEntityGenerated); this class adds the behaviour.
class BlackListEntity : public BlackListEntityGenerated {
 public:
  // True when none of the five flags is set.
  bool isEmpty() const;

  // Every stored entry in `context` (on its queue), or in the default context when none is
  // given (then on that context's queue). Empty when there is no store or the fetch fails
  // (logged). Owned by the context.
  static std::vector<BlackListEntity*> allEntities(ManagedObjectContext* context = nullptr);
};

}  // namespace dm
