// Bulk write scopes: thin handle over the context's bulk state.
#include "Platform/ObjectStore/BulkWrite.h"

#include "Platform/ObjectStore/ManagedObjectContext.h"

namespace dm {

BulkWrite& BulkWrite::operator=(BulkWrite&& other) noexcept {
  if (this != &other) {
    rollback();
    context_ = std::move(other.context_);
  }
  return *this;
}

BulkWrite::~BulkWrite() {
  rollback();
}

void BulkWrite::commit() {
  if (!context_) throw StoreError(StoreErrorCode::SaveFailed, "The bulk write is already closed");
  auto context = std::move(context_);
  context->endBulkWrite(true);
}

void BulkWrite::rollback() {
  if (!context_) return;
  auto context = std::move(context_);
  try {
    context->endBulkWrite(false);
  } catch (...) {
    // endBulkWrite(false) reports nothing; nothing may escape a destructor either.
  }
}

}  // namespace dm
