// Display texts whose wording depends on a number ("1 rep", "2 reps"; Russian has three
// forms): the plural category of the interface language picks the variant of a key.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace dm {

// The plural category ("zero", "one", "two", "few", "many", "other") of `count` in the
// current interface language, by the language's plural rules; "other" when the language has
// none. Any thread.
std::string pluralCategory(double count);

// The text of `key` for `count`: the variant "key#category" when the tables hold it, else
// "key#other", else the plain key; nothing when none exists. The text is a format the
// caller fills with the number. Any thread.
std::optional<std::string> localizedPluralString(std::string_view key, double count);

}  // namespace dm
