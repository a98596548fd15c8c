// A pharmacy item of a course: a handbook pharmacy entry, when to take it, the trainer's note.
#pragma once

#include <string>

#include "Nutrition/PharmacyEntityGenerated.h"

namespace dm {

class HandbookPostPharmacyEntity;

// Threads and ownership as ManagedObject.
class PharmacyEntity : public PharmacyEntityGenerated {
 public:
  // The handbook pharmacy entry post_pharmacy_id; nullptr when unset or unknown.
  HandbookPostPharmacyEntity* handbookPost() const;
  // "yyyyMM" of useDate's month (current zone, Gregorian), for grouping items by month as
  // text; "000001", which sorts before every month, when there is no date.
  std::string monthKey() const;
  static std::string monthKeyForDate(std::optional<Date> date);
};

}  // namespace dm
