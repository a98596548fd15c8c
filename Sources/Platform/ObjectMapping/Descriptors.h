// Response descriptors (which mapping applies to which answer) and request descriptors
// (which mapping builds the body sent for a record class).
#pragma once

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/ObjectMapping/ObjectMapping.h"
#include "Platform/ObjectMapping/RequestMethod.h"

namespace dm {

// Applies `mapping` to the value under `keyPath` ("" for the whole body) of answers to
// `method` requests whose path matches `pathPattern` and whose status code is in
// `statusCodes`. A pattern is a path whose ":name" segments match any one segment
// ("/users/:id/posts"); an empty pattern matches every path. An empty status set matches
// every code. Plain data; share freely once built.
class ResponseDescriptor {
 public:
  ResponseDescriptor(std::shared_ptr<const ObjectMapping> mapping, RequestMethod method,
                     std::string pathPattern, std::string keyPath, std::set<int> statusCodes);

  const std::shared_ptr<const ObjectMapping>& mapping() const { return mapping_; }
  RequestMethod method() const { return method_; }
  const std::string& pathPattern() const { return pathPattern_; }
  const std::string& keyPath() const { return keyPath_; }
  const std::set<int>& statusCodes() const { return statusCodes_; }

  // True when method, path (query and fragment ignored) and status code all match.
  bool matches(RequestMethod method, std::string_view path, int statusCode) const;
  // The values of the pattern's ":name" segments for a matching path; nullopt otherwise.
  std::optional<std::vector<std::pair<std::string, std::string>>> matchPath(
      std::string_view path) const;

  // The common 2xx set.
  static std::set<int> successfulStatusCodes();

 private:
  std::shared_ptr<const ObjectMapping> mapping_;
  RequestMethod method_;
  std::string pathPattern_;
  std::vector<std::string> patternSegments_;
  std::string keyPath_;
  std::set<int> statusCodes_;
};

// Builds the body of `method` requests for records of `objectClass` (and its subclasses)
// with a request mapping, wrapped under `rootKeyPath` when one is given. Plain data.
class RequestDescriptor {
 public:
  RequestDescriptor(std::shared_ptr<const ObjectMapping> mapping, std::string objectClass,
                    std::string rootKeyPath, RequestMethod method);

  const std::shared_ptr<const ObjectMapping>& mapping() const { return mapping_; }
  const std::string& objectClass() const { return objectClass_; }
  const std::string& rootKeyPath() const { return rootKeyPath_; }
  RequestMethod method() const { return method_; }

 private:
  std::shared_ptr<const ObjectMapping> mapping_;
  std::string objectClass_;
  std::string rootKeyPath_;
  RequestMethod method_;
};

}  // namespace dm
