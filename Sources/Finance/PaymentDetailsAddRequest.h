// New payment details for the server: a title and the details text.
#pragma once

#include <memory>

#include "Finance/PaymentDetailsAddRequestGenerated.h"

namespace dm {

class PaymentDetailsEntity;

// One thread at a time per instance, held by std::shared_ptr (see BaseMappableObject).
class PaymentDetailsAddRequest : public PaymentDetailsAddRequestGenerated {
  DM_RECORD_OBJECT(PaymentDetailsAddRequest)

 public:
  // A request carrying the title and details of `details` (absent ones stay absent). Use on
  // the record's context queue.
  static std::shared_ptr<PaymentDetailsAddRequest> requestWithPaymentDetailsAdd(
      const PaymentDetailsEntity& details);
};

}  // namespace dm
