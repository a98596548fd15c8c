// A captcha the user has to solve before the call is repeated: its id and picture address.
#pragma once

#include <optional>
#include <string>

#include "Accounts/CaptchaErrorGenerated.h"

namespace dm {

// One thread at a time per instance, held by std::shared_ptr (see BaseMappableObject).
class CaptchaError : public CaptchaErrorGenerated {
  DM_RECORD_OBJECT(CaptchaError)

 public:
  // The picture's address (captchaPath, or "" when absent) read as a URL; nothing when it is
  // none, the empty text included.
  std::optional<std::string> captchaUrl() const;
};

}  // namespace dm
