// The stable error codes of dmctl: one name per kind of failure, the exit status it gives,
// and how a store failure is classed. Scripts match on these names, so they never change.
#pragma once

#include "Platform/ObjectStore/StoreError.h"

namespace dmctl {

// Exit statuses: scripts tell "it failed" from "what you asked to store is not stored".
enum ExitStatus : int {
  kExitSuccess = 0,
  kExitFailure = 1,     // the command could not do its job (bad input, unreadable store, ...)
  kExitUsage = 2,       // the command line itself is wrong
  kExitNotWritten = 3,  // a requested write did not reach the file (memory-only store, full
                        // disk, lost lock, ...); nothing the command printed was stored
};

enum class ErrorCode {
  Usage,             // "usage": the command line is wrong (exit 2)
  NotFound,          // "not_found": a named record, file, class or setting does not exist
  InvalidInput,      // "invalid_input": a file or value given is malformed
  StoreUnavailable,  // "store_unavailable": a store file cannot be opened or read
  NotWritten,        // "not_written": a requested write did not reach the file (exit 3)
  NothingMapped,     // "nothing_mapped": a payload gave no records for the class
  Failed,            // "failed": any other failure
};

// The code's stable name, as printed in {"error": {"code": ...}}.
const char* errorCodeName(ErrorCode code);
ExitStatus exitStatusFor(ErrorCode code);
// A store failure that escaped a command: busy, full, read-only, unopenable or damaged files
// make the store unavailable; anything else is a plain failure.
ErrorCode errorCodeFor(dm::StoreFailureKind kind);

// Every code, for help texts and tests.
inline constexpr ErrorCode kAllErrorCodes[] = {ErrorCode::Usage,        ErrorCode::NotFound,
                                               ErrorCode::InvalidInput, ErrorCode::StoreUnavailable,
                                               ErrorCode::NotWritten,   ErrorCode::NothingMapped,
                                               ErrorCode::Failed};

}  // namespace dmctl
