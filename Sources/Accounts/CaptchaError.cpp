// The captcha picture address.
#include "Accounts/CaptchaError.h"

#include "Platform/Foundation/UrlText.h"

namespace dm {

std::optional<std::string> CaptchaError::captchaUrl() const {
  return urlFromText(hasCaptchaPath() ? captchaPath() : std::string());
}

}  // namespace dm
