// Meal times through ICU's short time style, and the fixed "HH:mm" form.
#include "Profile/MealsTimeFormatter.h"

#include <memory>

#include <unicode/datefmt.h>
#include <unicode/locid.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

#include "Platform/Foundation/DateFormatting.h"
#include "Platform/Foundation/LocaleServices.h"
#include "Platform/Foundation/Logger.h"

namespace dm {

namespace {

constexpr std::string_view kUtc = "UTC";

// ICU formatters are not thread-safe: one per call is cheap enough for a schedule of a
// handful of meals.
std::unique_ptr<icu::DateFormat> shortTimeFormatter() {
  std::string locale = currentLocaleIdentifier();
  std::unique_ptr<icu::DateFormat> formatter(
      icu::DateFormat::createTimeInstance(icu::DateFormat::kShort, icu::Locale(locale.c_str())));
  if (!formatter) {
    logWarning("MealsTimeFormatter: no short time formatter for " + locale);
    return nullptr;
  }
  formatter->adoptTimeZone(icu::TimeZone::createTimeZone("UTC"));
  return formatter;
}

}  // namespace

std::optional<Date> timeOfDayFromStoredString(std::string_view text) {
  return dateFromString(text, kTimeOfDayPattern, kUtc);
}

std::string storedStringFromTimeOfDay(Date time) {
  return stringFromDate(time, kTimeOfDayPattern, kUtc);
}

std::string mealsTimeStringFromTimeOfDay(Date time) {
  auto formatter = shortTimeFormatter();
  if (!formatter) return {};
  icu::UnicodeString out;
  formatter->format(static_cast<UDate>(time.timeIntervalSince1970 * 1000.0), out);
  std::string text;
  out.toUTF8String(text);
  return text;
}

std::optional<Date> timeOfDayFromMealsTimeString(std::string_view text) {
  auto formatter = shortTimeFormatter();
  if (!formatter || text.empty()) return std::nullopt;
  formatter->setLenient(true);
  UErrorCode status = U_ZERO_ERROR;
  UDate parsed = formatter->parse(icu::UnicodeString::fromUTF8(icu::StringPiece(
                                      text.data(), static_cast<int32_t>(text.size()))),
                                  status);
  if (U_FAILURE(status)) return std::nullopt;
  return Date(parsed / 1000.0);
}

}  // namespace dm
