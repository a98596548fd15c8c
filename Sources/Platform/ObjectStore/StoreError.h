// The error type of the object store: opening, migrating, saving and fetching failures.
#pragma once

#include <stdexcept>
#include <string>

namespace dm {

enum class StoreErrorCode {
  CannotOpen = 1,         // the file is not a database, is unreadable, or its directory is missing
  IncompatibleModel = 2,  // the file's schema cannot be migrated to the model
  SaveFailed = 3,         // a statement of the save failed; the transaction was rolled back
  FetchFailed = 4,        // a query failed
  InvalidModel = 5,       // a model text is malformed or inconsistent
  ValidationFailed = 6,   // a required attribute is missing on save
};

// Thrown by store and context operations. code() tells the kind; what() the detail.
class StoreError : public std::runtime_error {
 public:
  StoreError(StoreErrorCode code, const std::string& message)
      : std::runtime_error(message), code_(code) {}
  StoreErrorCode code() const { return code_; }

 private:
  StoreErrorCode code_;
};

}  // namespace dm
