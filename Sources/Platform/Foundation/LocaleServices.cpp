// Current locale and language state, and ICU-backed number texts. ICU formatters are not
// thread-safe, so every thread keeps its own, rebuilt when the current locale changes.
#include "Platform/Foundation/LocaleServices.h"

#include <unicode/decimfmt.h>
#include <unicode/locid.h>
#include <unicode/numfmt.h>
#include <unicode/numsys.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

#include <mutex>
#include <optional>

#include "Platform/Foundation/Logger.h"

namespace dm {

namespace {

struct LocaleState {
  std::mutex mutex;
  std::optional<std::string> locale;    // guarded by mutex; nothing = environment default
  std::optional<std::string> language;  // guarded by mutex; nothing = follow the locale
  std::optional<std::string> timeZone;  // guarded by mutex; nothing = environment default
};

LocaleState& state() {
  static LocaleState instance;
  return instance;
}

std::string toUtf8(const icu::UnicodeString& text) {
  std::string result;
  text.toUTF8String(result);
  return result;
}

std::string defaultTimeZoneIdentifier() {
  std::unique_ptr<icu::TimeZone> zone(icu::TimeZone::createDefault());
  icu::UnicodeString id;
  zone->getID(id);
  return toUtf8(id);
}

std::string defaultLocaleIdentifier() {
  return icu::Locale::getDefault().getName();
}

std::string languageOf(const std::string& localeIdentifier) {
  std::string language = icu::Locale(localeIdentifier.c_str()).getLanguage();
  return language.empty() ? std::string("en") : language;
}

// The per-thread formatters of one locale.
struct ThreadFormatters {
  std::string locale;
  std::unique_ptr<icu::NumberFormat> number;
  std::unique_ptr<icu::NumberFormat> percent;
  std::optional<std::u32string> digits;  // native digits 0-9; nothing when Latin
};

ThreadFormatters& formattersForCurrentLocale() {
  thread_local ThreadFormatters formatters;
  std::string locale = currentLocaleIdentifier();
  if (formatters.number && formatters.locale == locale) return formatters;

  formatters = ThreadFormatters{};
  formatters.locale = locale;
  icu::Locale icuLocale(locale.c_str());
  UErrorCode status = U_ZERO_ERROR;
  formatters.number.reset(icu::NumberFormat::createInstance(icuLocale, status));
  if (U_FAILURE(status)) {
    logError("Cannot create the number formatter for " + locale + ": " + u_errorName(status));
    formatters.number.reset();
  }
  status = U_ZERO_ERROR;
  formatters.percent.reset(icu::NumberFormat::createPercentInstance(icuLocale, status));
  if (U_FAILURE(status)) {
    logError("Cannot create the percent formatter for " + locale + ": " + u_errorName(status));
    formatters.percent.reset();
  }
  status = U_ZERO_ERROR;
  std::unique_ptr<icu::NumberingSystem> numbering(
      icu::NumberingSystem::createInstance(icuLocale, status));
  if (U_SUCCESS(status) && numbering && !numbering->isAlgorithmic() &&
      numbering->getRadix() == 10) {
    icu::UnicodeString description = numbering->getDescription();
    std::u32string digits;
    for (int32_t i = 0; i < description.length(); i = description.moveIndex32(i, 1)) {
      digits.push_back(static_cast<char32_t>(description.char32At(i)));
    }
    if (digits.size() == 10 && digits != U"0123456789") formatters.digits = digits;
  }
  return formatters;
}

std::string format(icu::NumberFormat* formatter, double value) {
  if (formatter == nullptr) return {};
  icu::UnicodeString text;
  formatter->format(value, text);
  return toUtf8(text);
}

void appendUtf8(std::string& out, char32_t c) {
  if (c < 0x80) {
    out.push_back(static_cast<char>(c));
  } else if (c < 0x800) {
    out.push_back(static_cast<char>(0xC0 | (c >> 6)));
    out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
  } else if (c < 0x10000) {
    out.push_back(static_cast<char>(0xE0 | (c >> 12)));
    out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
  } else {
    out.push_back(static_cast<char>(0xF0 | (c >> 18)));
    out.push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
  }
}

}  // namespace

std::string currentLocaleIdentifier() {
  auto& s = state();
  std::lock_guard lock(s.mutex);
  return s.locale ? *s.locale : defaultLocaleIdentifier();
}

void setCurrentLocaleIdentifier(std::string_view identifier) {
  auto& s = state();
  std::lock_guard lock(s.mutex);
  if (identifier.empty()) {
    s.locale.reset();
  } else {
    // Canonical form, so "ru-RU" and "ru_RU" name the same cached formatters.
    s.locale = icu::Locale(std::string(identifier).c_str()).getName();
  }
}

std::string currentInterfaceLanguage() {
  auto& s = state();
  std::lock_guard lock(s.mutex);
  if (s.language) return *s.language;
  return languageOf(s.locale ? *s.locale : defaultLocaleIdentifier());
}

void setCurrentInterfaceLanguage(std::string_view language) {
  auto& s = state();
  std::lock_guard lock(s.mutex);
  if (language.empty()) {
    s.language.reset();
  } else {
    s.language = std::string(language);
  }
}

std::string currentTimeZoneIdentifier() {
  auto& s = state();
  std::lock_guard lock(s.mutex);
  return s.timeZone ? *s.timeZone : defaultTimeZoneIdentifier();
}

bool setCurrentTimeZoneIdentifier(std::string_view identifier) {
  std::optional<std::string> zoneIdentifier;
  if (!identifier.empty()) {
    std::unique_ptr<icu::TimeZone> zone(icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(
        icu::StringPiece(identifier.data(), static_cast<int32_t>(identifier.size())))));
    if (*zone == icu::TimeZone::getUnknown()) {
      logWarning("Unknown time zone \"" + std::string(identifier) + "\" ignored");
      return false;
    }
    zoneIdentifier = std::string(identifier);
  }
  auto& s = state();
  std::lock_guard lock(s.mutex);
  s.timeZone = std::move(zoneIdentifier);
  return true;
}

bool isRightToLeftInterface() {
  return icu::Locale(currentInterfaceLanguage().c_str()).isRightToLeft();
}

std::string localizedNumberString(double value) {
  return format(formattersForCurrentLocale().number.get(), value);
}

std::string localizedPercentString(double fraction) {
  return format(formattersForCurrentLocale().percent.get(), fraction);
}

std::string localizedDigits(std::string_view text) {
  const auto& formatters = formattersForCurrentLocale();
  if (!formatters.digits) return std::string(text);
  std::string result;
  result.reserve(text.size() * 2);
  for (char c : text) {
    if (c >= '0' && c <= '9') {
      appendUtf8(result, (*formatters.digits)[static_cast<size_t>(c - '0')]);
    } else {
      result.push_back(c);
    }
  }
  return result;
}

struct RoundingNumberFormatter::Impl {
  std::unique_ptr<icu::NumberFormat> formatter;
};

RoundingNumberFormatter::RoundingNumberFormatter(int maximumFractionDigits,
                                                 std::string_view localeIdentifier)
    : impl_(std::make_unique<Impl>()) {
  std::string locale =
      localeIdentifier.empty() ? currentLocaleIdentifier() : std::string(localeIdentifier);
  UErrorCode status = U_ZERO_ERROR;
  impl_->formatter.reset(icu::NumberFormat::createInstance(icu::Locale(locale.c_str()), status));
  if (U_FAILURE(status) || !impl_->formatter) {
    logError("Cannot create the number formatter for " + locale + ": " + u_errorName(status));
    impl_->formatter.reset();
    return;
  }
  impl_->formatter->setMinimumFractionDigits(0);
  impl_->formatter->setMaximumFractionDigits(maximumFractionDigits < 0 ? 0 : maximumFractionDigits);
  impl_->formatter->setRoundingMode(icu::NumberFormat::kRoundHalfUp);
}

RoundingNumberFormatter::~RoundingNumberFormatter() = default;
RoundingNumberFormatter::RoundingNumberFormatter(RoundingNumberFormatter&&) noexcept = default;
RoundingNumberFormatter& RoundingNumberFormatter::operator=(RoundingNumberFormatter&&) noexcept =
    default;

std::string RoundingNumberFormatter::string(double value) const {
  auto* formatter = impl_ ? impl_->formatter.get() : nullptr;
  std::string text = format(formatter, value);
  // ICU keeps the sign of a negative value that rounds to zero ("-0").
  if (value < 0 && format(formatter, -value) == format(formatter, 0.0)) {
    return format(formatter, 0.0);
  }
  return text;
}

}  // namespace dm
