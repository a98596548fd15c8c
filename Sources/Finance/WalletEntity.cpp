// Wallet lookups.
#include "Finance/WalletEntity.h"

#include <exception>
#include <string>

#include "Platform/Foundation/Logger.h"
#include "Platform/ObjectStore/ObjectStoreHelpers.h"

namespace dm {

WalletEntity* WalletEntity::wallet(ManagedObjectContext& context) {
  try {
    return dynamic_cast<WalletEntity*>(ObjectStoreHelpers::findFirst(context, kEntityName));
  } catch (const std::exception& error) {
    logWarning(std::string("WalletEntity: cannot read the wallet: ") + error.what());
    return nullptr;
  }
}

std::size_t WalletEntity::clearWallet(ManagedObjectContext& context) {
  try {
    return ObjectStoreHelpers::deleteAllMatching(context, kEntityName);
  } catch (const std::exception& error) {
    logWarning(std::string("WalletEntity: cannot clear the wallet: ") + error.what());
    return 0;
  }
}

}  // namespace dm
