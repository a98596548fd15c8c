// PasswordRecoveryRequest: its e-mail reads (and is sent) normalised.
#pragma once

#include "Accounts/PasswordRecoveryRequestGenerated.h"

namespace dm {

// One thread at a time per instance, held by std::shared_ptr (see BaseMappableObject).
class PasswordRecoveryRequest : public PasswordRecoveryRequestGenerated {
  DM_RECORD_OBJECT(PasswordRecoveryRequest)

 protected:
  RecordValue readValue(std::string_view name, RecordValue stored) const override;
};

}  // namespace dm
