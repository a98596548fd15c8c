// SignInRequest field rules.
#include "Accounts/SignInRequest.h"

#include "Accounts/RequestValues.h"

namespace dm {

RecordValue SignInRequest::readValue(std::string_view name, RecordValue stored) const {
  return readingEmailNormalized(name, std::move(stored));
}

}  // namespace dm
