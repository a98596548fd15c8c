// The server's answer to adding a card: the address of the page on which the card is entered.
#pragma once

#include <optional>
#include <string>

#include "Finance/AddCardResponseGenerated.h"

namespace dm {

// One thread at a time per instance, held by std::shared_ptr (see BaseMappableObject).
class AddCardResponse : public AddCardResponseGenerated {
  DM_RECORD_OBJECT(AddCardResponse)

 public:
  // urlString when it is a URL; nothing when absent or malformed.
  std::optional<std::string> url() const;
};

}  // namespace dm
