// The current locale, interface language and time zone of the process, and the locale-aware
// texts built from them: number and percent texts, rounding number formatting, native digits.
// The settings are guarded by a lock; the free text functions keep ICU formatters per thread
// (ICU formatters are not thread-safe) and rebuild them when the current locale changes.
#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace dm {

// The locale identifier used for number texts, calendars and date texts ("en_US", "ru_RU").
// Defaults to the process environment's locale (LANG / LC_ALL, as the ICU default).
// Thread-safe; returns a copy.
std::string currentLocaleIdentifier();
// Replaces the current locale; an empty identifier restores the environment's default.
// Does not change an interface language set explicitly. Thread-safe.
void setCurrentLocaleIdentifier(std::string_view identifier);

// The interface language code ("en", "ru", "ar"). Defaults to the language of the current
// locale until set explicitly. Thread-safe; returns a copy.
std::string currentInterfaceLanguage();
// Sets the interface language; an empty code makes it follow the current locale again.
// Thread-safe.
void setCurrentInterfaceLanguage(std::string_view language);

// The time zone in which dates are shown and days begin ("Europe/Moscow", "UTC").
// Defaults to the environment's zone (TZ, as the ICU default). Thread-safe; returns a copy.
std::string currentTimeZoneIdentifier();
// Replaces the current time zone; an empty identifier restores the environment's default.
// An identifier ICU does not know is refused: false, logged, the zone stays as it was.
// Thread-safe.
bool setCurrentTimeZoneIdentifier(std::string_view identifier);

// True when the interface language is written right to left (Arabic, Hebrew, Persian...).
// Thread-safe.
bool isRightToLeftInterface();

// The number in the current locale's notation: grouping and decimal separator, at most
// three fraction digits ("1,234.5" in en; "1 234,5" in ru, with U+00A0 as the group
// separator). Non-finite numbers give "NaN" / "∞" as the locale writes them. Any thread.
std::string localizedNumberString(double value);
// The fraction as a percent in the current locale ("75%" in en, "75 %" in ru with U+00A0),
// rounded to whole percents. Any thread.
std::string localizedPercentString(double fraction);
// The text with its ASCII digits 0-9 replaced by the native digits of the current locale
// (unchanged for Latin-digit locales such as en and ru; Arabic-Indic digits for "ar").
// Any thread.
std::string localizedDigits(std::string_view text);

// Formats numbers with at most `maximumFractionDigits` fraction digits (none forced),
// rounding half up (away from zero at .5 of the last kept digit). The decision is made on the
// shortest decimal text that reads back as the same double, not on its exact binary value,
// so 0.25 -> "0.3" with one digit and 1.005 -> "1.01" with two (although the double nearest
// 1.005 lies slightly below it), as a person reading the number expects. A result that
// rounds to zero is written without a minus sign. Grouping follows the locale.
// An instance is not thread-safe (it owns an ICU formatter); use one per thread.
class RoundingNumberFormatter {
 public:
  // `localeIdentifier` empty means the current locale at construction.
  explicit RoundingNumberFormatter(int maximumFractionDigits,
                                   std::string_view localeIdentifier = {});
  ~RoundingNumberFormatter();
  RoundingNumberFormatter(RoundingNumberFormatter&&) noexcept;
  RoundingNumberFormatter& operator=(RoundingNumberFormatter&&) noexcept;

  // The formatted text; "" if ICU could not create the formatter (logged at construction)
  // or the instance was moved from.
  std::string string(double value) const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace dm
