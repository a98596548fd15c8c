// The card page address.
#include "Finance/AddCardResponse.h"

#include "Accounts/UrlText.h"

namespace dm {

std::optional<std::string> AddCardResponse::url() const {
  return urlFromText(urlString());
}

}  // namespace dm
