// The localisation lookup: display key to text in the current interface language, over
// the tables embedded from Resources/Localization/ and any the host loads.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace dm {

// The text for `key` in the current interface language. The language's own table is read
// first (an exact code such as "pt_BR", then its base language "pt"), then the English
// table, so a language without a table, or a key not yet translated, shows English.
// A key that no table holds yields nothing; callers decide what to show.
// `comment` describes the key for translators and does not affect the result.
// Any thread.
std::optional<std::string> localizedString(std::string_view key, std::string_view comment = {});

// The store of localisation tables (language code -> flat key/text object).
// The embedded "en" and "ru" tables are loaded on first use. Thread-safe throughout.
class Localization {
 public:
  // Adds or replaces the table of `language` from a flat JSON object whose values are
  // texts. True on success. Malformed JSON, a non-object or a non-text value is reported
  // as false with a logged warning and leaves the existing table as it was.
  static bool loadTable(std::string_view language, std::string_view json);

  // The text of `key` in `language` with the same fallback as localizedString.
  static std::optional<std::string> string(std::string_view key, std::string_view language);

  // True when a table for exactly this language code is loaded.
  static bool hasTable(std::string_view language);

  // Drops host-loaded tables and reloads the embedded ones (for tests).
  static void reset();
};

}  // namespace dm
