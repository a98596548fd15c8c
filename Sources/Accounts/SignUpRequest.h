// SignUpRequest: its e-mail reads (and is sent) normalised.
#pragma once

#include "Accounts/SignUpRequestGenerated.h"

namespace dm {

// One thread at a time per instance, held by std::shared_ptr (see BaseMappableObject).
class SignUpRequest : public SignUpRequestGenerated {
  DM_RECORD_OBJECT(SignUpRequest)

 protected:
  RecordValue readValue(std::string_view name, RecordValue stored) const override;
};

}  // namespace dm
