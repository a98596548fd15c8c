// A meal of a diet day: its time of day and its products in the trainer's order.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Nutrition/DietMealEntityGenerated.h"

namespace dm {

// Threads and ownership as ManagedObject.
class DietMealEntity : public DietMealEntityGenerated {
 public:
  // The products by position ascending, equal positions by entityID ascending.
  std::vector<DietProductEntity*> orderedProducts() const;
  // The products in the relationship's stored order (as added or as the payload listed them).
  std::vector<DietProductEntity*> productsInStoredOrder() const;

  // Minutes after midnight of consumeTime ("07:30" gives 450); 0 when unset or empty.
  // Throws Error InvalidInput for a time without ":" (a malformed record).
  int consumeTimeInMinutes() const;
  // consumeTime (or "07:00" when unset) in the user's short time style; the stored text
  // itself when it is no "HH:mm" time.
  std::string formattedConsumeTime() const;

  // Each product's allPostProductsIds, in stored order.
  std::vector<std::int64_t> allPostProductsIds() const;
};

}  // namespace dm
