// The error that a mapping operation, a descriptor lookup or a request serialisation reports
// when the payload or the mapping cannot be applied.
#pragma once

#include <string>
#include <vector>

#include "Platform/Foundation/Error.h"

namespace dm {

// Thrown by the mapping entry points (MappingOperation, ObjectManager, serializeRequest).
// `issues()` lists every problem found, each with the key path of the payload where it
// occurred ("items[3].weight", "" for the payload root); `keyPaths()` lists only the paths.
// When a MappingError reaches the caller, the destination has been left as it was.
// As a dm::Error its code is that of the first issue (errorCodeForMapping).
// Plain data: may be copied and passed between threads.
class MappingError : public Error {
 public:
  enum class Code {
    MalformedJson,   // the text is not JSON
    WrongShape,      // an object where an array was expected, a missing root key path, ...
    InvalidValue,    // a value that cannot be transformed to the field's type
    UnknownClass,    // a mapping names a class, entity or field the destination lacks
    NestingTooDeep,  // records nested deeper than the operation allows
    NoMatchingDescriptor,
    DestinationFailure,  // the destination refused a write; its changes were rolled back
  };
  struct Issue {
    Code code;
    std::string keyPath;
    std::string message;
    // The record class or entity whose field it concerns; empty when none does.
    std::string className{};
  };

  explicit MappingError(std::vector<Issue> issues);
  MappingError(Code code, std::string keyPath, std::string message);

  const std::vector<Issue>& issues() const { return issues_; }
  // The code of the first issue. Hides Error::code().
  Code code() const { return issues_.front().code; }
  std::vector<std::string> keyPaths() const;

 private:
  static std::string describe(const std::vector<Issue>& issues);
  std::vector<Issue> issues_;
};

// The library-wide code of a mapping issue.
ErrorCode errorCodeForMapping(MappingError::Code code);

}  // namespace dm
