// Plural variants of display keys, chosen with ICU's plural rules of the interface language.
#include "Platform/Foundation/PluralForms.h"

#include <memory>

#include <unicode/plurrule.h>
#include <unicode/unistr.h>

#include "Platform/Foundation/LocaleServices.h"
#include "Platform/Foundation/Localization.h"

namespace dm {

std::string pluralCategory(double count) {
  // Looking the rules up costs more than a screen's other text work together, so each thread
  // keeps the rules of the language it last used (not shared: simplest safe use of ICU).
  struct Cached {
    std::string language;
    std::unique_ptr<icu::PluralRules> rules;
  };
  thread_local Cached cached;
  const std::string language = currentInterfaceLanguage();
  if (!cached.rules || cached.language != language) {
    UErrorCode status = U_ZERO_ERROR;
    cached.rules.reset(icu::PluralRules::forLocale(icu::Locale(language.c_str()), status));
    if (U_FAILURE(status)) cached.rules.reset();
    cached.language = language;
  }
  if (!cached.rules) return "other";
  std::string category;
  cached.rules->select(count).toUTF8String(category);
  return category.empty() ? "other" : category;
}

std::optional<std::string> localizedPluralString(std::string_view key, double count) {
  const std::string base(key);
  if (auto text = localizedString(base + "#" + pluralCategory(count))) return text;
  if (auto text = localizedString(base + "#other")) return text;
  return localizedString(base);
}

}  // namespace dm
