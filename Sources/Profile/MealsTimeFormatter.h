// Times of day of the meal schedule: the stored "HH:mm" form and the user's short time style.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Platform/Foundation/Date.h"

namespace dm {

// Times of day are dates on 1 January 1970 in UTC, so no zone or daylight change shifts them.
// All functions may be called from any thread.

// "07:30" read with "HH:mm" in the POSIX locale; nothing when it is not such a time.
std::optional<Date> timeOfDayFromStoredString(std::string_view text);
// The time written "HH:mm" in the POSIX locale.
std::string storedStringFromTimeOfDay(Date time);

// The time in the short time style of the current locale ("7:30 AM", "07:30"); "" when the
// formatter cannot be made (logged).
std::string mealsTimeStringFromTimeOfDay(Date time);
// Text in the short time style of the current locale read back (leniently); nothing when
// unreadable.
std::optional<Date> timeOfDayFromMealsTimeString(std::string_view text);

}  // namespace dm
