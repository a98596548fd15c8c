// Paid-out totals, one record per currency, and the operations the wallet screen uses.
#pragma once

#include <cstdint>
#include <vector>

#include "Finance/PayoutEntityGenerated.h"

namespace dm {

class ManagedObjectContext;

// Threads and ownership as ManagedObject; the operations run on `context`'s queue and return
// records it owns. Failures are logged and give the empty result.
class PayoutEntity : public PayoutEntityGenerated {
 public:
  // A fresh random identifier on every call: payouts are told apart by currency, not by id.
  static std::int64_t newEntityID();
  // The first stored payout; nullptr when there is none.
  static PayoutEntity* unit(ManagedObjectContext& context);
  // Every payout, the largest amount first.
  static std::vector<PayoutEntity*> payouts(ManagedObjectContext& context);
  // Deletes every payout in `context` (saved with the context). Returns how many.
  static std::size_t clearPayouts(ManagedObjectContext& context);
};

}  // namespace dm
