// A country the user can live in, with its cities; the first by weight then name decides the
// default units.
#pragma once

#include <optional>
#include <string>

#include "Profile/CountryEntityGenerated.h"

namespace dm {

class ManagedObjectContext;

// Threads and ownership as ManagedObject. Stored fields, typed accessors and class operations
// come from the store model (CountryEntityGenerated); this class adds the behaviour.
class CountryEntity : public CountryEntityGenerated {
 public:
  // The first country sorted by "weight,name" in `context` (on its queue); nullptr when there
  // is none or the fetch fails (logged). Owned by the context.
  static CountryEntity* firstByWeight(ManagedObjectContext& context);
};

}  // namespace dm
