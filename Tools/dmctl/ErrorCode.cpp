// Names and exit statuses of dmctl's error codes.
#include "dmctl/ErrorCode.h"

namespace dmctl {

const char* errorCodeName(ErrorCode code) {
  switch (code) {
    case ErrorCode::Usage:
      return "usage";
    case ErrorCode::NotFound:
      return "not_found";
    case ErrorCode::NotWritten:
      return "not_written";
    case ErrorCode::NothingMapped:
      return "nothing_mapped";
    case ErrorCode::Failed:
      break;
  }
  return "failed";
}

const char* FailureCode::name() const {
  if (const auto* library = std::get_if<dm::ErrorCode>(&code_)) return dm::errorCodeName(*library);
  return errorCodeName(std::get<ErrorCode>(code_));
}

ExitStatus FailureCode::exitStatus() const {
  if (is(ErrorCode::Usage)) return kExitUsage;
  if (is(ErrorCode::NotWritten)) return kExitNotWritten;
  return kExitFailure;
}

}  // namespace dmctl
