// The card page address.
#include "Finance/AddCardResponse.h"

#include "Platform/Foundation/UrlText.h"

namespace dm {

std::optional<std::string> AddCardResponse::url() const {
  return urlFromText(urlString());
}

}  // namespace dm
