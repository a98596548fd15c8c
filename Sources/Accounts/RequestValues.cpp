// Shared request value rules.
#include "Accounts/RequestValues.h"

#include <algorithm>
#include <cctype>

namespace dm {

RecordValue noEmpty(const RecordValue& value) {
  if (value.isString() && value.asString().empty()) return {};
  if (value.isNumber() && value.asDouble() == 0) return {};
  return value;
}

std::string normalizedEmail(std::string_view email) {
  auto isBlank = [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; };
  auto begin = std::find_if_not(email.begin(), email.end(), isBlank);
  auto end =
      std::find_if_not(email.rbegin(), std::string_view::reverse_iterator(begin), isBlank).base();
  std::string out(begin, end);
  // ASCII lower case: addresses are matched by the server in their ASCII form.
  std::transform(out.begin(), out.end(), out.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return out;
}

RecordValue readingEmailNormalized(std::string_view field, RecordValue stored) {
  if (field == "email" && stored.isString()) return normalizedEmail(stored.asString());
  return stored;
}

}  // namespace dm
