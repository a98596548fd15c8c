// Date texts through ICU's SimpleDateFormat, cached per thread because ICU formatters are not
// thread-safe; the server date-time text is read by hand so its accepted forms are exact.
#include "Platform/Foundation/DateFormatting.h"

#include <unicode/gregocal.h>
#include <unicode/locid.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>

#include "Platform/Foundation/LocaleServices.h"
#include "Platform/Foundation/Logger.h"

namespace dm {

namespace {

constexpr double kMillisecondsPerDay = 86400000.0;
// Per-thread caches are dropped wholesale past this size; callers use a handful of patterns.
constexpr size_t kCacheLimit = 64;

icu::UnicodeString toUnicode(std::string_view text) {
  return icu::UnicodeString::fromUTF8(
      icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
}

std::string toUtf8(const icu::UnicodeString& text) {
  std::string result;
  text.toUTF8String(result);
  return result;
}

// Rounded to the millisecond so that 50.123 s, stored as 50.12299999..., writes ".123".
UDate toUDate(Date date) {
  return std::round(date.timeIntervalSince1970 * 1000.0);
}

std::string resolvedZone(std::string_view timeZone) {
  return timeZone.empty() ? currentTimeZoneIdentifier() : std::string(timeZone);
}

const icu::TimeZone& zoneNamed(const std::string& identifier) {
  thread_local std::map<std::string, std::unique_ptr<icu::TimeZone>> zones;
  auto found = zones.find(identifier);
  if (found != zones.end()) return *found->second;
  if (zones.size() >= kCacheLimit) zones.clear();
  std::unique_ptr<icu::TimeZone> zone(icu::TimeZone::createTimeZone(toUnicode(identifier)));
  if (*zone == icu::TimeZone::getUnknown()) {
    logWarning("Unknown time zone \"" + identifier + "\"; using UTC");
    zone.reset(icu::TimeZone::getGMT()->clone());
  }
  return *zones.emplace(identifier, std::move(zone)).first->second;
}

// A strict formatter for the pattern, locale and zone, or nullptr when ICU refuses the
// pattern or locale. Owned by the calling thread's cache.
icu::SimpleDateFormat* formatterFor(std::string_view pattern, std::string_view localeIdentifier,
                                    const std::string& zone) {
  thread_local std::map<std::string, std::unique_ptr<icu::SimpleDateFormat>> formatters;
  std::string key;
  key.append(pattern).append("\x1f").append(localeIdentifier).append("\x1f").append(zone);
  auto found = formatters.find(key);
  if (found != formatters.end()) return found->second.get();
  if (formatters.size() >= kCacheLimit) formatters.clear();

  UErrorCode status = U_ZERO_ERROR;
  icu::Locale locale(std::string(localeIdentifier).c_str());
  locale.setKeywordValue("calendar", "gregorian", status);
  auto formatter = std::make_unique<icu::SimpleDateFormat>(toUnicode(pattern), locale, status);
  if (U_FAILURE(status)) {
    logWarning("Cannot use the date pattern \"" + std::string(pattern) +
               "\": " + u_errorName(status));
    formatter.reset();
  } else {
    formatter->setTimeZone(zoneNamed(zone));
    formatter->setLenient(false);
  }
  return formatters.emplace(std::move(key), std::move(formatter)).first->second.get();
}

// Days from 1970-01-01 to the Gregorian date (proleptic), for the hand-read server text.
int64_t daysFromCivil(int64_t year, unsigned month, unsigned day) {
  year -= month <= 2 ? 1 : 0;
  const int64_t era = (year >= 0 ? year : year - 399) / 400;
  const auto yearOfEra = static_cast<unsigned>(year - era * 400);
  const unsigned dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
  const unsigned dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return era * 146097 + static_cast<int64_t>(dayOfEra) - 719468;
}

bool isLeapYear(int64_t year) {
  return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

unsigned daysInMonth(int64_t year, unsigned month) {
  static constexpr unsigned kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && isLeapYear(year) ? 29 : kDays[month - 1];
}

// Reads exactly `count` ASCII digits at `position`, advancing it.
bool readDigits(std::string_view text, size_t& position, size_t count, unsigned& value) {
  if (position + count > text.size()) return false;
  value = 0;
  for (size_t i = 0; i < count; ++i) {
    char c = text[position + i];
    if (c < '0' || c > '9') return false;
    value = value * 10 + static_cast<unsigned>(c - '0');
  }
  position += count;
  return true;
}

bool expect(std::string_view text, size_t& position, char c) {
  if (position >= text.size() || text[position] != c) return false;
  ++position;
  return true;
}

}  // namespace

std::string stringFromDate(Date date, std::string_view pattern, std::string_view timeZone,
                           std::string_view localeIdentifier) {
  auto* formatter = formatterFor(pattern, localeIdentifier, resolvedZone(timeZone));
  if (formatter == nullptr || !std::isfinite(date.timeIntervalSince1970)) return {};
  icu::UnicodeString text;
  formatter->format(toUDate(date), text);
  return toUtf8(text);
}

std::optional<Date> dateFromString(std::string_view text, std::string_view pattern,
                                   std::string_view timeZone, std::string_view localeIdentifier) {
  auto* formatter = formatterFor(pattern, localeIdentifier, resolvedZone(timeZone));
  if (formatter == nullptr || text.empty()) return std::nullopt;
  // ICU skips leading white space even when strict; stored texts never carry it.
  if (std::isspace(static_cast<unsigned char>(text.front()))) return std::nullopt;
  icu::UnicodeString unicodeText = toUnicode(text);
  icu::ParsePosition position(0);
  UDate parsed = formatter->parse(unicodeText, position);
  if (position.getErrorIndex() >= 0 || position.getIndex() != unicodeText.length()) {
    return std::nullopt;
  }
  return Date(parsed / 1000.0);
}

std::string serverDateTimeString(Date date, std::string_view timeZone) {
  return stringFromDate(date, "yyyy-MM-dd'T'HH:mm:ss.SSSxxx", timeZone, kPosixLocaleIdentifier);
}

std::optional<Date> dateFromServerString(std::string_view text) {
  size_t at = 0;
  unsigned year, month, day, hour, minute, second;
  if (!readDigits(text, at, 4, year) || !expect(text, at, '-') || !readDigits(text, at, 2, month) ||
      !expect(text, at, '-') || !readDigits(text, at, 2, day) || !expect(text, at, 'T') ||
      !readDigits(text, at, 2, hour) || !expect(text, at, ':') ||
      !readDigits(text, at, 2, minute) || !expect(text, at, ':') ||
      !readDigits(text, at, 2, second)) {
    return std::nullopt;
  }
  if (month < 1 || month > 12 || day < 1 || day > daysInMonth(year, month) || hour > 23 ||
      minute > 59 || second > 59) {
    return std::nullopt;
  }

  double fraction = 0;
  if (at < text.size() && text[at] == '.') {
    ++at;
    double scale = 0.1;
    size_t digits = 0;
    while (at < text.size() && text[at] >= '0' && text[at] <= '9') {
      fraction += (text[at] - '0') * scale;
      scale /= 10;
      ++at;
      ++digits;
    }
    if (digits == 0 || digits > 9) return std::nullopt;
  }

  int offsetSeconds = 0;
  if (at >= text.size()) return std::nullopt;  // a date-time without a zone is ambiguous
  if (text[at] == 'Z') {
    ++at;
  } else if (text[at] == '+' || text[at] == '-') {
    const int sign = text[at] == '-' ? -1 : 1;
    ++at;
    unsigned offsetHours, offsetMinutes = 0;
    if (!readDigits(text, at, 2, offsetHours)) return std::nullopt;
    if (at < text.size()) {
      if (text[at] == ':') ++at;
      if (!readDigits(text, at, 2, offsetMinutes)) return std::nullopt;
    }
    if (offsetHours > 23 || offsetMinutes > 59) return std::nullopt;
    offsetSeconds = sign * static_cast<int>(offsetHours * 3600 + offsetMinutes * 60);
  } else {
    return std::nullopt;
  }
  if (at != text.size()) return std::nullopt;

  const int64_t days = daysFromCivil(year, month, day);
  const double seconds =
      static_cast<double>(days) * 86400.0 + hour * 3600.0 + minute * 60.0 + second - offsetSeconds;
  return Date(seconds + fraction);
}

bool isSameDay(Date first, Date second, std::string_view timeZone) {
  const icu::TimeZone& zone = zoneNamed(resolvedZone(timeZone));
  auto localDay = [&zone](Date date) {
    UDate instant = toUDate(date);
    int32_t rawOffset = 0, dstOffset = 0;
    UErrorCode status = U_ZERO_ERROR;
    zone.getOffset(instant, false, rawOffset, dstOffset, status);
    return std::floor((instant + rawOffset + dstOffset) / kMillisecondsPerDay);
  };
  return localDay(first) == localDay(second);
}

Date startOfDay(Date date, std::string_view timeZone) {
  UErrorCode status = U_ZERO_ERROR;
  icu::GregorianCalendar calendar(zoneNamed(resolvedZone(timeZone)), status);
  if (U_FAILURE(status)) {
    logWarning(std::string("Cannot create a calendar: ") + u_errorName(status));
    return date;
  }
  calendar.setTime(toUDate(date), status);
  calendar.set(UCAL_HOUR_OF_DAY, 0);
  calendar.set(UCAL_MINUTE, 0);
  calendar.set(UCAL_SECOND, 0);
  calendar.set(UCAL_MILLISECOND, 0);
  UDate midnight = calendar.getTime(status);
  if (U_FAILURE(status)) return date;
  return Date(midnight / 1000.0);
}

std::string shortClockString(TimeInterval interval) {
  if (!(interval > 0)) return "00:00:00";  // also catches NaN
  const double whole = std::floor(std::min(interval, 3.6e15));
  const auto total = static_cast<int64_t>(whole);
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%02lld:%02lld:%02lld", static_cast<long long>(total / 3600),
                static_cast<long long>(total / 60 % 60), static_cast<long long>(total % 60));
  return buffer;
}

}  // namespace dm
