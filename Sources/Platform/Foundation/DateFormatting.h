// Date texts: fixed TR35 patterns in the POSIX locale, the server's ISO 8601 date-time text,
// calendar days in a time zone and the short clock text of an interval.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Platform/Foundation/Date.h"

namespace dm {

// The locale whose date texts never change with user settings: Gregorian calendar, ASCII
// digits, English month names.
inline constexpr std::string_view kPosixLocaleIdentifier = "en_US_POSIX";

// Patterns the data layer stores and exchanges.
inline constexpr std::string_view kDayDatePattern = "yyyy-MM-dd";
inline constexpr std::string_view kDietDatePattern = "dd.MM.yyyy";
inline constexpr std::string_view kTimeOfDayPattern = "HH:mm";
inline constexpr std::string_view kDateKeyPattern = "yyyyMMdd";

// In every function below an empty `timeZone` means the current time zone
// (currentTimeZoneIdentifier() in LocaleServices.h); otherwise it is an ICU zone identifier
// ("Europe/Moscow", "UTC", "GMT+03:00"). An unknown zone identifier is treated as UTC and
// logged. Dates are rounded to the millisecond before they are written.
// All functions may be called from any thread: each thread keeps its own ICU formatters.

// The date written with a TR35 pattern in the given locale, always in the Gregorian
// calendar. An invalid pattern gives "" and a logged warning.
std::string stringFromDate(Date date, std::string_view pattern, std::string_view timeZone = {},
                           std::string_view localeIdentifier = kPosixLocaleIdentifier);

// The date read strictly with a TR35 pattern: the whole text must match and every field
// must be valid (no 31 February, no 24:00). Fields the pattern lacks take their values from
// 1970-01-01 00:00 in the zone, so "07:30" with "HH:mm" is 07:30 on 1 January 1970.
// Unreadable text or an invalid pattern gives nothing.
std::optional<Date> dateFromString(std::string_view text, std::string_view pattern,
                                   std::string_view timeZone = {},
                                   std::string_view localeIdentifier = kPosixLocaleIdentifier);

// The server's date-time text: "2026-11-22T21:46:50.123+03:00", with milliseconds and the
// offset of the zone at that date ("+00:00" for UTC).
std::string serverDateTimeString(Date date, std::string_view timeZone = {});

// Reads the server's date-time text: "yyyy-MM-ddTHH:mm:ss", optionally a fraction of 1 to 9
// digits after "." , then "Z" or an offset "+03:00" / "+0300" / "+03". Anything else (no
// offset, out-of-range fields, trailing text) gives nothing.
std::optional<Date> dateFromServerString(std::string_view text);

// True when both dates fall on the same calendar day in the zone.
bool isSameDay(Date first, Date second, std::string_view timeZone = {});

// Midnight at the start of the date's calendar day in the zone (the first existing instant
// of the day where a time change skips midnight).
Date startOfDay(Date date, std::string_view timeZone = {});

// "HH:mm:ss" of an interval in whole seconds (fractions dropped); hours do not wrap at 24
// ("25:00:00", "100:00:00"). Negative or not-a-number intervals give "00:00:00".
std::string shortClockString(TimeInterval interval);

}  // namespace dm
