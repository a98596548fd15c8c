// Names and exit statuses of dmctl's error codes.
#include "dmctl/ErrorCode.h"

namespace dmctl {

const char* errorCodeName(ErrorCode code) {
  switch (code) {
    case ErrorCode::Usage:
      return "usage";
    case ErrorCode::NotFound:
      return "not_found";
    case ErrorCode::InvalidInput:
      return "invalid_input";
    case ErrorCode::StoreUnavailable:
      return "store_unavailable";
    case ErrorCode::NotWritten:
      return "not_written";
    case ErrorCode::NothingMapped:
      return "nothing_mapped";
    case ErrorCode::Failed:
      break;
  }
  return "failed";
}

ExitStatus exitStatusFor(ErrorCode code) {
  switch (code) {
    case ErrorCode::Usage:
      return kExitUsage;
    case ErrorCode::NotWritten:
      return kExitNotWritten;
    default:
      return kExitFailure;
  }
}

ErrorCode errorCodeFor(dm::StoreFailureKind kind) {
  return kind == dm::StoreFailureKind::Other ? ErrorCode::Failed : ErrorCode::StoreUnavailable;
}

}  // namespace dmctl
