// Holds the response and request descriptors of an application and applies them: maps an
// answer's body onto a destination and builds the body sent for a record.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "Platform/ObjectMapping/Descriptors.h"
#include "Platform/ObjectMapping/MappingOperation.h"
#include "Platform/ObjectMapping/MappingSource.h"
#include "Platform/ObjectMapping/RequestSerialization.h"

namespace dm {

// Threads: register descriptors first (one thread); afterwards the const operations may run
// on any thread, each with its own destination or source.
class ObjectManager {
 public:
  // What one answer mapped to: per matching descriptor (in registration order) its key path
  // and records, and every distinct record in that order.
  struct Result {
    std::vector<std::pair<std::string, std::vector<ObjectRef>>> byKeyPath;
    std::vector<ObjectRef> objects;
  };

  void addResponseDescriptor(ResponseDescriptor descriptor);
  void addRequestDescriptor(RequestDescriptor descriptor);
  const std::vector<ResponseDescriptor>& responseDescriptors() const { return responses_; }
  const std::vector<RequestDescriptor>& requestDescriptors() const { return requests_; }

  // The descriptors that apply to an answer, in registration order.
  std::vector<const ResponseDescriptor*> matchingResponseDescriptors(RequestMethod method,
                                                                     std::string_view path,
                                                                     int statusCode) const;

  // Maps the body of an answer with every matching descriptor, in one all-or-nothing step;
  // a descriptor whose key path is missing from the body maps nothing. Throws MappingError
  // when no descriptor matches (NoMatchingDescriptor), when the body is malformed or when
  // mapping fails; the destination is then unchanged. Records belong to the destination.
  Result mapResponse(RequestMethod method, std::string_view path, int statusCode,
                     std::string_view body, MappingDestination& destination,
                     const MappingOptions& options = {}) const;
  Result mapResponse(RequestMethod method, std::string_view path, int statusCode,
                     const nlohmann::json& body, MappingDestination& destination,
                     const MappingOptions& options = {}) const;
  // Text bodies held in a std::string (which would be ambiguous between the forms above).
  Result mapResponse(RequestMethod method, std::string_view path, int statusCode,
                     const std::string& body, MappingDestination& destination,
                     const MappingOptions& options = {}) const {
    return mapResponse(method, path, statusCode, std::string_view(body), destination, options);
  }

  // The first request descriptor for the record's class (or a superclass) and method;
  // nullptr when none.
  const RequestDescriptor* requestDescriptorFor(const MappingSource& source, ObjectRef object,
                                                RequestMethod method) const;
  // The body to send for `object` with `method`, wrapped under the descriptor's root key
  // path. Throws MappingError (NoMatchingDescriptor when no descriptor applies, or as
  // serializeRequest does). The caller owns the tree.
  nlohmann::json requestBody(const MappingSource& source, ObjectRef object, RequestMethod method,
                             const SerializationOptions& options = {}) const;

 private:
  template <class Body>
  Result mapBody(RequestMethod method, std::string_view path, int statusCode, const Body& body,
                 MappingDestination& destination, const MappingOptions& options) const;

  std::vector<ResponseDescriptor> responses_;
  std::vector<RequestDescriptor> requests_;
};

}  // namespace dm
