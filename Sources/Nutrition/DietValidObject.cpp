// Formatting the day a diet's validity state is for.
#include "Nutrition/DietValidObject.h"

#include "Platform/Foundation/DateFormatting.h"

namespace dm {

std::string DietValidObject::dateString() const {
  if (!hasDate()) return "";
  return stringFromDate(date(), "dd.MM.yyyy");
}

}  // namespace dm
