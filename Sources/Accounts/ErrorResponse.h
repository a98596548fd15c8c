// The server's error reply: messages by component and a nested list of messages.
#pragma once

#include <string>

#include "Accounts/ErrorResponseGenerated.h"

namespace dm {

// One thread at a time per instance, held by std::shared_ptr (see BaseMappableObject).
class ErrorResponse : public ErrorResponseGenerated {
  DM_RECORD_OBJECT(ErrorResponse)

 public:
  // The message shown to the user: the first component's first message, else the first text
  // found depth first in errorMessages; "" when there is none.
  std::string description() const;
};

// The first text found depth first in nested lists and dictionaries; nothing when none.
std::optional<std::string> firstTextDepthFirst(const RecordValue& value);

}  // namespace dm
