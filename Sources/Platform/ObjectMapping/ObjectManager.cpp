// ObjectManager: descriptor selection around the mapping operation and serialisation.
#include "Platform/ObjectMapping/ObjectManager.h"

namespace dm {

void ObjectManager::addResponseDescriptor(ResponseDescriptor descriptor) {
  responses_.push_back(std::move(descriptor));
}

void ObjectManager::addRequestDescriptor(RequestDescriptor descriptor) {
  requests_.push_back(std::move(descriptor));
}

std::vector<const ResponseDescriptor*> ObjectManager::matchingResponseDescriptors(
    RequestMethod method, std::string_view path, int statusCode) const {
  std::vector<const ResponseDescriptor*> matching;
  for (const auto& descriptor : responses_) {
    if (descriptor.matches(method, path, statusCode)) matching.push_back(&descriptor);
  }
  return matching;
}

template <class Body>
ObjectManager::Result ObjectManager::mapBody(RequestMethod method, std::string_view path,
                                             int statusCode, const Body& body,
                                             MappingDestination& destination,
                                             const MappingOptions& options) const {
  const auto matching = matchingResponseDescriptors(method, path, statusCode);
  if (matching.empty()) {
    throw MappingError(MappingError::Code::NoMatchingDescriptor, "",
                       "no response descriptor matches " + std::string(path) + " (status " +
                           std::to_string(statusCode) + ")");
  }
  std::vector<MappingOperation::Root> roots;
  for (const auto* descriptor : matching) {
    roots.push_back({descriptor->keyPath(), descriptor->mapping(), true});
  }
  auto results = MappingOperation(destination, options).map(body, roots);
  Result result;
  for (std::size_t i = 0; i < results.size(); ++i) {
    for (const auto& object : results[i].objects) {
      bool seen = false;
      for (const auto& existing : result.objects) seen = seen || existing == object;
      if (!seen) result.objects.push_back(object);
    }
    result.byKeyPath.emplace_back(matching[i]->keyPath(), std::move(results[i].objects));
  }
  return result;
}

ObjectManager::Result ObjectManager::mapResponse(RequestMethod method, std::string_view path,
                                                 int statusCode, std::string_view body,
                                                 MappingDestination& destination,
                                                 const MappingOptions& options) const {
  return mapBody(method, path, statusCode, body, destination, options);
}

ObjectManager::Result ObjectManager::mapResponse(RequestMethod method, std::string_view path,
                                                 int statusCode, const nlohmann::json& body,
                                                 MappingDestination& destination,
                                                 const MappingOptions& options) const {
  return mapBody(method, path, statusCode, body, destination, options);
}

const RequestDescriptor* ObjectManager::requestDescriptorFor(const MappingSource& source,
                                                             ObjectRef object,
                                                             RequestMethod method) const {
  for (const auto& descriptor : requests_) {
    if (matches(descriptor.method(), method) &&
        source.isKindOfClass(object, descriptor.objectClass())) {
      return &descriptor;
    }
  }
  return nullptr;
}

nlohmann::json ObjectManager::requestBody(const MappingSource& source, ObjectRef object,
                                          RequestMethod method,
                                          const SerializationOptions& options) const {
  const RequestDescriptor* descriptor = requestDescriptorFor(source, object, method);
  if (!descriptor) {
    throw MappingError(MappingError::Code::NoMatchingDescriptor, "",
                       "no request descriptor for this record and method");
  }
  return serializeRequest(*descriptor->mapping(), source, object, descriptor->rootKeyPath(),
                          options);
}

}  // namespace dm
