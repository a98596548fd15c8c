// The totals of the user's wallet: one record, replaced whenever the server sends new totals.
#pragma once

#include <cstddef>

#include "Finance/WalletEntityGenerated.h"

namespace dm {

class ManagedObjectContext;

// Threads and ownership as ManagedObject; the class operations run on `context`'s queue and
// return records it owns. Failures are logged and give the empty result.
class WalletEntity : public WalletEntityGenerated {
 public:
  // The first stored wallet; nullptr when there is none.
  static WalletEntity* wallet(ManagedObjectContext& context);
  // Deletes every wallet record in `context` (saved with the context). Returns how many.
  static std::size_t clearWallet(ManagedObjectContext& context);
};

}  // namespace dm
