// The stable error codes of dmctl: one name per kind of failure and the exit status it gives.
// A library failure is reported with the library's own code (dm::ErrorCode, its name from
// dm::errorCodeName); dmctl adds codes only for the command line and its own judgements.
// Scripts match on these names, so they never change.
#pragma once

#include <variant>

#include "Platform/Foundation/Error.h"

namespace dmctl {

// Exit statuses: scripts tell "it failed" from "what you asked to store is not stored".
enum ExitStatus : int {
  kExitSuccess = 0,
  kExitFailure = 1,     // the command could not do its job (bad input, unreadable store, ...)
  kExitUsage = 2,       // the command line itself is wrong
  kExitNotWritten = 3,  // a requested write did not reach the file (memory-only store, full
                        // disk, lost lock, ...); nothing the command printed was stored
};

// dmctl's own codes. Bad input the tool itself finds uses dm::ErrorCode::InvalidInput, a
// store it cannot use dm::ErrorCode::StoreUnavailable, as the library would.
enum class ErrorCode {
  Usage,          // "usage": the command line is wrong (exit 2)
  NotFound,       // "not_found": a named record, file, class or setting does not exist
  NotWritten,     // "not_written": a requested write did not reach the file (exit 3)
  NothingMapped,  // "nothing_mapped": a payload gave no records for the class
  Failed,         // "failed": any other failure
};

// Every code of dmctl's own, for help texts and tests.
inline constexpr ErrorCode kAllErrorCodes[] = {ErrorCode::Usage, ErrorCode::NotFound,
                                               ErrorCode::NotWritten, ErrorCode::NothingMapped,
                                               ErrorCode::Failed};

// The code a failure is reported with: dmctl's own or the library's.
class FailureCode {
 public:
  FailureCode(ErrorCode code) : code_(code) {}      // NOLINT: converts on purpose
  FailureCode(dm::ErrorCode code) : code_(code) {}  // NOLINT: converts on purpose
  // The stable name, as printed in {"error": {"code": ...}}.
  const char* name() const;
  ExitStatus exitStatus() const;
  bool is(ErrorCode code) const {
    return std::holds_alternative<ErrorCode>(code_) && std::get<ErrorCode>(code_) == code;
  }

 private:
  std::variant<ErrorCode, dm::ErrorCode> code_;
};

const char* errorCodeName(ErrorCode code);
// The library's code of a failure it reported (StoreError and MappingError hide it behind
// their own code()).
inline dm::ErrorCode libraryCode(const dm::Error& error) {
  return error.code();
}

}  // namespace dmctl
