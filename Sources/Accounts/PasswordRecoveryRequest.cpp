// PasswordRecoveryRequest field rules.
#include "Accounts/PasswordRecoveryRequest.h"

#include "Accounts/RequestValues.h"

namespace dm {

RecordValue PasswordRecoveryRequest::readValue(std::string_view name, RecordValue stored) const {
  return readingEmailNormalized(name, std::move(stored));
}

}  // namespace dm
