// Handbook lookup and month grouping of pharmacy items.
#include "Nutrition/PharmacyEntity.h"

#include "Handbook/Adapter/HandbookAdapter.h"
#include "Platform/Foundation/DateFormatting.h"
#include "Platform/Foundation/LocaleServices.h"

namespace dm {

HandbookPostPharmacyEntity* PharmacyEntity::handbookPost() const {
  if (!hasPost_pharmacy_id()) return nullptr;
  return HandbookAdapter::shared().getPostPharmacyEntity(post_pharmacy_id());
}

std::string PharmacyEntity::monthKeyForDate(std::optional<Date> date) {
  if (!date) return "000001";
  // Year and month only: the pattern drops the day, so the first of the month formats alike.
  return stringFromDate(*date, "yyyyMM", {}, currentLocaleIdentifier());
}

std::string PharmacyEntity::monthKey() const {
  return monthKeyForDate(hasUseDate() ? std::optional<Date>(useDate()) : std::nullopt);
}

}  // namespace dm
