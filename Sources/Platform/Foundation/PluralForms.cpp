// Plural variants of display keys, chosen with ICU's plural rules of the interface language.
#include "Platform/Foundation/PluralForms.h"

#include <memory>

#include <unicode/plurrule.h>
#include <unicode/unistr.h>

#include "Platform/Foundation/LocaleServices.h"
#include "Platform/Foundation/Localization.h"

namespace dm {

std::string pluralCategory(double count) {
  UErrorCode status = U_ZERO_ERROR;
  // Rules are cheap to look up and not thread-safe to share; one per call keeps this simple.
  std::unique_ptr<icu::PluralRules> rules(
      icu::PluralRules::forLocale(icu::Locale(currentInterfaceLanguage().c_str()), status));
  if (U_FAILURE(status) || !rules) return "other";
  std::string category;
  rules->select(count).toUTF8String(category);
  return category.empty() ? "other" : category;
}

std::optional<std::string> localizedPluralString(std::string_view key, double count) {
  const std::string base(key);
  if (auto text = localizedString(base + "#" + pluralCategory(count))) return text;
  if (auto text = localizedString(base + "#other")) return text;
  return localizedString(base);
}

}  // namespace dm
