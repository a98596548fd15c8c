// SignUpRequest field rules.
#include "Accounts/SignUpRequest.h"

#include "Accounts/RequestValues.h"

namespace dm {

RecordValue SignUpRequest::readValue(std::string_view name, RecordValue stored) const {
  return readingEmailNormalized(name, std::move(stored));
}

}  // namespace dm
