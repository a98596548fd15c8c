// A scope that makes many saves of a root context one all-or-nothing transaction, so an
// import can release its objects between chunks.
#pragma once

#include <memory>

namespace dm {

class ManagedObjectContext;

// Obtained from ManagedObjectContext::beginBulkWrite(). Move-only. While it is open, every
// save() of its context writes into one open transaction; commit() makes all of it durable
// at once, and rollback() — or destroying the scope uncommitted — undoes all of it and brings
// the context back to its state before the scope began. A failed save inside the scope rolls
// the whole scope back at once (the save throws; later saves and commit() throw too).
//
// Threads: commit, rollback and the destructor run on the context's queue, like every other
// use of the context (the destructor of an open scope elsewhere stops the process).
class BulkWrite {
 public:
  BulkWrite() = default;
  BulkWrite(BulkWrite&& other) noexcept = default;
  // Rolls back the scope this one held, if still open, then takes over `other`'s.
  BulkWrite& operator=(BulkWrite&& other) noexcept;
  BulkWrite(const BulkWrite&) = delete;
  BulkWrite& operator=(const BulkWrite&) = delete;
  // Rolls back when still open.
  ~BulkWrite();

  // Saves what is still pending in the context, then commits the transaction. Throws
  // StoreError (SaveFailed, or ValidationFailed from that last save) when the scope failed
  // earlier or the commit fails; everything is rolled back then. Afterwards the scope is
  // closed either way.
  void commit();
  // Undoes every save made in the scope and drops the context's unsaved changes. Never
  // throws; does nothing when the scope is already closed.
  void rollback();
  // True from beginBulkWrite until commit, rollback or destruction.
  bool isActive() const { return context_ != nullptr; }

 private:
  friend class ManagedObjectContext;
  explicit BulkWrite(std::shared_ptr<ManagedObjectContext> context)
      : context_(std::move(context)) {}
  std::shared_ptr<ManagedObjectContext> context_;
};

}  // namespace dm
