// Descriptor matching: path patterns are split once at construction.
#include "Platform/ObjectMapping/Descriptors.h"

#include <cctype>

namespace dm {
namespace {

std::vector<std::string_view> splitPath(std::string_view path) {
  if (auto cut = path.find_first_of("?#"); cut != std::string_view::npos)
    path = path.substr(0, cut);
  std::vector<std::string_view> segments;
  std::size_t start = 0;
  while (start <= path.size()) {
    std::size_t slash = path.find('/', start);
    if (slash == std::string_view::npos) slash = path.size();
    if (slash > start) segments.push_back(path.substr(start, slash - start));
    start = slash + 1;
  }
  return segments;
}

}  // namespace

std::optional<RequestMethod> requestMethodFromString(std::string_view text) {
  std::string upper;
  for (char c : text) upper += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  if (upper == "GET") return RequestMethod::GET;
  if (upper == "POST") return RequestMethod::POST;
  if (upper == "PUT") return RequestMethod::PUT;
  if (upper == "DELETE") return RequestMethod::DELETE;
  if (upper == "HEAD") return RequestMethod::HEAD;
  if (upper == "PATCH") return RequestMethod::PATCH;
  if (upper == "OPTIONS") return RequestMethod::OPTIONS;
  return std::nullopt;
}

ResponseDescriptor::ResponseDescriptor(std::shared_ptr<const ObjectMapping> mapping,
                                       RequestMethod method, std::string pathPattern,
                                       std::string keyPath, std::set<int> statusCodes)
    : mapping_(std::move(mapping)),
      method_(method),
      pathPattern_(std::move(pathPattern)),
      keyPath_(std::move(keyPath)),
      statusCodes_(std::move(statusCodes)) {
  for (auto segment : splitPath(pathPattern_)) patternSegments_.emplace_back(segment);
}

std::optional<std::vector<std::pair<std::string, std::string>>> ResponseDescriptor::matchPath(
    std::string_view path) const {
  std::vector<std::pair<std::string, std::string>> parameters;
  if (pathPattern_.empty()) return parameters;
  const auto segments = splitPath(path);
  if (segments.size() != patternSegments_.size()) return std::nullopt;
  for (std::size_t i = 0; i < segments.size(); ++i) {
    const std::string& pattern = patternSegments_[i];
    if (pattern.size() > 1 && pattern[0] == ':') {
      parameters.emplace_back(pattern.substr(1), std::string(segments[i]));
    } else if (pattern != segments[i]) {
      return std::nullopt;
    }
  }
  return parameters;
}

bool ResponseDescriptor::matches(RequestMethod method, std::string_view path,
                                 int statusCode) const {
  if (!dm::matches(method_, method)) return false;
  if (!statusCodes_.empty() && !statusCodes_.count(statusCode)) return false;
  return matchPath(path).has_value();
}

std::set<int> ResponseDescriptor::successfulStatusCodes() {
  std::set<int> codes;
  for (int code = 200; code < 300; ++code) codes.insert(code);
  return codes;
}

RequestDescriptor::RequestDescriptor(std::shared_ptr<const ObjectMapping> mapping,
                                     std::string objectClass, std::string rootKeyPath,
                                     RequestMethod method)
    : mapping_(std::move(mapping)),
      objectClass_(std::move(objectClass)),
      rootKeyPath_(std::move(rootKeyPath)),
      method_(method) {}

}  // namespace dm
