// What SQLite's result codes mean for the store files.
#include "Platform/ObjectStore/StoreError.h"

#include <sqlite3.h>

namespace dm {

StoreFailureKind classifySqliteResult(int resultCode) {
  switch (resultCode & 0xff) {
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
      return StoreFailureKind::Corrupt;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return StoreFailureKind::Busy;
    case SQLITE_FULL:
      return StoreFailureKind::Full;
    case SQLITE_READONLY:
      return StoreFailureKind::ReadOnly;
    case SQLITE_CANTOPEN:
    case SQLITE_PERM:
    case SQLITE_AUTH:
      return StoreFailureKind::CannotOpen;
    case SQLITE_IOERR:
    case SQLITE_NOMEM:
      return StoreFailureKind::Io;
    default:
      return StoreFailureKind::Other;
  }
}

const char* storeFailureKindName(StoreFailureKind kind) {
  switch (kind) {
    case StoreFailureKind::Corrupt:
      return "corrupt";
    case StoreFailureKind::Busy:
      return "busy";
    case StoreFailureKind::Full:
      return "full";
    case StoreFailureKind::ReadOnly:
      return "read-only";
    case StoreFailureKind::CannotOpen:
      return "cannot open";
    case StoreFailureKind::Io:
      return "i/o error";
    case StoreFailureKind::Other:
      break;
  }
  return "other";
}

ErrorCode errorCodeForStoreFailure(StoreErrorCode code, StoreFailureKind kind) {
  if (kind == StoreFailureKind::Corrupt) return ErrorCode::StoreCorrupt;
  if (kind != StoreFailureKind::Other) return ErrorCode::StoreUnavailable;
  switch (code) {
    case StoreErrorCode::CannotOpen:
      return ErrorCode::StoreUnavailable;
    case StoreErrorCode::IncompatibleModel:
      return ErrorCode::IncompatibleModel;
    case StoreErrorCode::SaveFailed:
      return ErrorCode::SaveFailed;
    case StoreErrorCode::FetchFailed:
      return ErrorCode::FetchFailed;
    case StoreErrorCode::InvalidModel:
      return ErrorCode::InvalidModel;
    case StoreErrorCode::ValidationFailed:
      return ErrorCode::ValidationFailed;
  }
  return ErrorCode::SaveFailed;
}

}  // namespace dm
