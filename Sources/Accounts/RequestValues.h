// Value rules shared by request builders: dropping empty values and normalising e-mails.
#pragma once

#include <string>
#include <string_view>

#include "Mapping/Records/RecordValue.h"

namespace dm {

// Nothing for an empty text or a number equal to 0; any other value (absent included) as is.
RecordValue noEmpty(const RecordValue& value);

// The e-mail as the server expects it: lower case, blanks and line breaks trimmed at both ends.
std::string normalizedEmail(std::string_view email);

// A read rule for request classes: the field "email" reads normalised, others unchanged.
RecordValue readingEmailNormalized(std::string_view field, RecordValue stored);

}  // namespace dm
