// Error reply messages.
#include "Accounts/ErrorResponse.h"

namespace dm {

namespace {

// Deep enough for any real error reply; deeper nesting is not searched.
constexpr int kMaximumSearchDepth = 64;

std::optional<std::string> searchText(const RecordValue& value, int depth) {
  if (depth > kMaximumSearchDepth) return std::nullopt;
  if (value.isString()) return value.asString();
  if (value.isArray()) {
    for (const RecordValue& element : value.asArray()) {
      if (auto text = searchText(element, depth + 1)) return text;
    }
  } else if (value.isDictionary()) {
    for (const auto& [key, element] : value.asDictionary()) {
      if (auto text = searchText(element, depth + 1)) return text;
    }
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::string> firstTextDepthFirst(const RecordValue& value) {
  return searchText(value, 0);
}

std::string ErrorResponse::description() const {
  RecordValue byComponent = errorMessagesByComponent();
  if (byComponent.isDictionary() && !byComponent.asDictionary().empty()) {
    const RecordValue& first = byComponent.asDictionary().begin()->second;
    if (first.isArray()) {
      const auto& messages = first.asArray();
      if (!messages.empty() && messages.front().isString()) return messages.front().asString();
      if (!messages.empty()) return firstTextDepthFirst(messages.front()).value_or("");
      return {};
    }
  }
  return firstTextDepthFirst(errorMessages()).value_or("");
}

}  // namespace dm
