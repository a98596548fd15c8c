// SignInRequest: its e-mail reads (and is sent) normalised.
#pragma once

#include "Accounts/SignInRequestGenerated.h"

namespace dm {

// One thread at a time per instance, held by std::shared_ptr (see BaseMappableObject).
class SignInRequest : public SignInRequestGenerated {
  DM_RECORD_OBJECT(SignInRequest)

 protected:
  RecordValue readValue(std::string_view name, RecordValue stored) const override;
};

}  // namespace dm
