// A message to support with photos; the answer goes to the (normalised) e-mail.
#pragma once

#include "Accounts/SupportRequestGenerated.h"

namespace dm {

// One thread at a time per instance, held by std::shared_ptr (see BaseMappableObject).
class SupportRequest : public SupportRequestGenerated {
  DM_RECORD_OBJECT(SupportRequest)

 public:
  // Rebuilds serializedPhotos from photos: the upload tree of each support photo, in order;
  // other elements are skipped.
  void serializePhotos();

 protected:
  RecordValue readValue(std::string_view name, RecordValue stored) const override;
};

}  // namespace dm
