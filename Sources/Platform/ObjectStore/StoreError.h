// The error type of the object store: opening, migrating, saving and fetching failures, with
// the SQLite result code behind them and what that code means for the files.
#pragma once

#include <string>

#include "Platform/Foundation/Error.h"

namespace dm {

enum class StoreErrorCode {
  CannotOpen = 1,         // the file is not a database, is unreadable, or its directory is missing
  IncompatibleModel = 2,  // the file's schema cannot be migrated to the model
  SaveFailed = 3,         // a statement of the save failed; the transaction was rolled back
  FetchFailed = 4,        // a query failed
  InvalidModel = 5,       // a model text is malformed or inconsistent
  ValidationFailed = 6,   // a required attribute is missing on save
};

// What a failure says about the file. Only Corrupt justifies replacing it; every other kind
// is reported and the files are left exactly as they were.
enum class StoreFailureKind {
  Other = 0,   // not an SQLite condition (model, validation, predicate) or an unknown code
  Corrupt,     // SQLITE_CORRUPT, SQLITE_NOTADB, a failed integrity check
  Busy,        // SQLITE_BUSY, SQLITE_LOCKED: another connection holds a lock too long
  Full,        // SQLITE_FULL: the disk (or a quota) is full
  ReadOnly,    // SQLITE_READONLY: the file, its directory or the mount refuses writes
  CannotOpen,  // SQLITE_CANTOPEN, SQLITE_PERM, SQLITE_AUTH: no access to the file
  Io,          // SQLITE_IOERR and SQLITE_NOMEM: the system failed under the database
};

// The kind an SQLite result code (primary or extended) stands for.
StoreFailureKind classifySqliteResult(int resultCode);
// "corrupt", "busy", ... for messages and diagnostic events.
const char* storeFailureKindName(StoreFailureKind kind);
// The library-wide code of a store failure: what the file's condition says when SQLite
// classed it, otherwise what the operation was.
ErrorCode errorCodeForStoreFailure(StoreErrorCode code, StoreFailureKind kind);

// Thrown by store and context operations. code() tells the operation that failed, kind() what
// the failure means for the file, sqliteCode() the extended SQLite result (0 when none);
// what() the detail. As a dm::Error its code is errorCodeForStoreFailure(code(), kind()).
class StoreError : public Error {
 public:
  StoreError(StoreErrorCode code, const std::string& message, int sqliteCode = 0)
      : StoreError(code, message, sqliteCode, classifySqliteResult(sqliteCode)) {}
  StoreError(StoreErrorCode code, const std::string& message, int sqliteCode, StoreFailureKind kind)
      : Error(errorCodeForStoreFailure(code, kind), message),
        code_(code),
        sqliteCode_(sqliteCode),
        kind_(kind) {}
  // Hides Error::code(): the store operation that failed.
  StoreErrorCode code() const { return code_; }
  int sqliteCode() const { return sqliteCode_; }
  StoreFailureKind kind() const { return kind_; }
  // True only for a damaged file: the one case where recovery may replace it.
  bool isCorruption() const { return kind_ == StoreFailureKind::Corrupt; }

 private:
  StoreErrorCode code_;
  int sqliteCode_;
  StoreFailureKind kind_;
};

}  // namespace dm
