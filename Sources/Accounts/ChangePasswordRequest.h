// The password change: the current password and the new one twice.
#pragma once

#include "Accounts/ChangePasswordRequestGenerated.h"

namespace dm {

// One thread at a time per instance, held by std::shared_ptr (see BaseMappableObject).
class ChangePasswordRequest : public ChangePasswordRequestGenerated {
  DM_RECORD_OBJECT(ChangePasswordRequest)

 public:
  // True when the new password and its confirmation are the same text (case counts).
  bool passwordsAreEqual() const { return changedPassword() == confirmedPassword(); }
};

}  // namespace dm
