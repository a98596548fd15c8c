// MappingError: the summary text lists the first few issues with their key paths.
#include "Platform/ObjectMapping/MappingError.h"

namespace dm {

namespace {

MappingError::Code firstCode(const std::vector<MappingError::Issue>& issues) {
  return issues.empty() ? MappingError::Code::WrongShape : issues.front().code;
}

}  // namespace

MappingError::MappingError(std::vector<Issue> issues)
    : Error(errorCodeForMapping(firstCode(issues)), describe(issues)), issues_(std::move(issues)) {
  if (issues_.empty()) issues_.push_back({Code::WrongShape, "", "mapping failed"});
}

MappingError::MappingError(Code code, std::string keyPath, std::string message)
    : MappingError(std::vector<Issue>{{code, std::move(keyPath), std::move(message)}}) {}

ErrorCode errorCodeForMapping(MappingError::Code code) {
  switch (code) {
    case MappingError::Code::MalformedJson:
      return ErrorCode::MalformedPayload;
    case MappingError::Code::WrongShape:
      return ErrorCode::WrongShape;
    case MappingError::Code::InvalidValue:
      return ErrorCode::InvalidValue;
    case MappingError::Code::UnknownClass:
      return ErrorCode::UnknownClass;
    case MappingError::Code::NestingTooDeep:
      return ErrorCode::NestingTooDeep;
    case MappingError::Code::NoMatchingDescriptor:
      return ErrorCode::NoMatchingDescriptor;
    case MappingError::Code::DestinationFailure:
      return ErrorCode::DestinationFailure;
  }
  return ErrorCode::WrongShape;
}

std::vector<std::string> MappingError::keyPaths() const {
  std::vector<std::string> paths;
  paths.reserve(issues_.size());
  for (const auto& issue : issues_) paths.push_back(issue.keyPath);
  return paths;
}

std::string MappingError::describe(const std::vector<Issue>& issues) {
  if (issues.empty()) return "mapping failed";
  std::string text = "mapping failed: ";
  constexpr std::size_t kShown = 5;
  for (std::size_t i = 0; i < issues.size() && i < kShown; ++i) {
    if (i > 0) text += "; ";
    text += issues[i].keyPath.empty() ? "<root>" : issues[i].keyPath;
    text += ": ";
    text += issues[i].message;
  }
  if (issues.size() > kShown) {
    text += "; and " + std::to_string(issues.size() - kShown) + " more";
  }
  return text;
}

}  // namespace dm
