// A trainer's payment details and the lookups the payment screens use.
#pragma once

#include <vector>

#include "Finance/PaymentDetailsEntityGenerated.h"

namespace dm {

class ManagedObjectContext;

// Threads and ownership as ManagedObject; the class operations run on `context`'s queue and
// return records it owns. Failures are logged and give the empty result.
class PaymentDetailsEntity : public PaymentDetailsEntityGenerated {
 public:
  // The first stored payment details; nullptr when there are none.
  static PaymentDetailsEntity* method(ManagedObjectContext& context);
  // The details the server has not accepted yet (entityID 0).
  static std::vector<PaymentDetailsEntity*> getAllTempEnitities(ManagedObjectContext& context);
};

}  // namespace dm
