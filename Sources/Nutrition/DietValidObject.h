// The validity state of a course's diet as the server reports it, kept apart from the stored
// diets so reading it changes none of them.
#pragma once

#include <string>

#include "Nutrition/DietValidObjectGenerated.h"

namespace dm {

// A root mapped class: it is read from answers only, never sent, copied or archived, so its
// class descends from no record base (the C++ value store is an implementation detail).
// One thread at a time per instance, held by std::shared_ptr.
class DietValidObject : public DietValidObjectGenerated {
  DM_RECORD_OBJECT(DietValidObject)

 public:
  // date as "dd.MM.yyyy" in the current time zone; "" without date.
  std::string dateString() const;
};

}  // namespace dm
