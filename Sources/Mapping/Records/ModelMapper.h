// Builds the mappings (and descriptors) with which the mapping engine maps JSON to records
// and records to JSON, from the declarations of record classes.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "Mapping/Records/MappingStore.h"
#include "Mapping/Records/RecordClass.h"
#include "Platform/Foundation/Injector.h"
#include "Platform/ObjectMapping/Descriptors.h"
#include "Platform/ObjectMapping/ObjectMapping.h"

namespace dm {

// An injector singleton requiring "objectStore". Mappings are built anew on each call (the
// caller owns them; they are read-only once returned and may be shared between threads).
// Any thread, provided each record class's mappings were first computed on one thread.
class ModelMapper {
 public:
  // Registers ModelMapper as a singleton of `injector` requiring "objectStore". Any thread.
  static void registerWith(Injector& injector);
  // The instance of the default injector, registering the class there first when needed;
  // nullptr (and a logged error) when no "objectStore" is provided. Any thread.
  static std::shared_ptr<ModelMapper> shared();

  // The store is not owned.
  void setObjectStore(std::shared_ptr<MappingStore> store);
  std::shared_ptr<MappingStore> objectStore() const { return objectStore_.lock(); }

  // A request mapping (record -> dictionary) from the class's serialization mappings.
  std::shared_ptr<const ObjectMapping> requestMappingForClass(const RecordClass& recordClass);
  // An entity mapping (stored classes, with identification attributes and foreign-key
  // connections) or an object mapping (transient classes) from attributeMappings and
  // relationshipMappings.
  std::shared_ptr<const ObjectMapping> responseMappingForClass(const RecordClass& recordClass);

  // A request descriptor for records of the class (and its subclasses): its request mapping,
  // wrapped under `rootKeyPath` when given. The caller owns it.
  RequestDescriptor requestDescriptorForClass(const RecordClass& recordClass,
                                              const std::optional<std::string>& rootKeyPath,
                                              RequestMethod method);
  // A response descriptor applying the class's response mapping to the value under `keyPath`
  // (nothing: the whole body) of answers to `method` requests on `pathPattern` with one of
  // `statusCodes`. The caller owns it.
  ResponseDescriptor responseDescriptorForClass(const RecordClass& recordClass,
                                                std::string pathPattern,
                                                const std::optional<std::string>& keyPath,
                                                RequestMethod method, std::set<int> statusCodes);

  // The mapping for `targetClass` (nullptr: a plain dictionary, only for requests):
  // - every (field, server key) of `attributes` whose field is not a relationship key becomes
  //   an attribute mapping (request: field -> key; response: key -> field);
  // - every (field, class name) of `relationships` whose field has a server key in
  //   `attributes` becomes a relationship mapping with the related class's own request or
  //   response mapping; relationships without a server key are left out;
  // - a response mapping of a stored class gets the class's identification attributes and
  //   foreign-key connections.
  // A class name that resolves to no registered class gets a nested mapping for that name,
  // which the mapping engine reports as an unknown class when used. Classes that nest
  // themselves (directly or through others) share one mapping per class; the edge that
  // closes such a cycle is a weak back reference, so the graph is freed with its root.
  std::shared_ptr<ObjectMapping> mappingForClass(const RecordClass* targetClass,
                                                 const MappingDictionary& attributes,
                                                 const RelationshipDictionary& relationships,
                                                 bool requestMapping);

 private:
  using InProgress = std::map<std::pair<std::string, bool>, std::shared_ptr<ObjectMapping>>;
  // A mapping of the right kind for `targetClass`; without a class, one for
  // `missingClassName` (warned about), which the engine reports as unknown when used.
  static std::shared_ptr<ObjectMapping> emptyMapping(const RecordClass* targetClass,
                                                     bool requestMapping,
                                                     const std::string& missingClassName = {});
  std::shared_ptr<ObjectMapping> build(const RecordClass* targetClass,
                                       const MappingDictionary& attributes,
                                       const RelationshipDictionary& relationships,
                                       bool requestMapping, InProgress& inProgress);
  // Fills `mapping`. A nested mapping is attached to its parent before it is filled, so an
  // edge back to a mapping still being built is the one that closes the cycle.
  void fill(ObjectMapping& mapping, const RecordClass* targetClass,
            const MappingDictionary& attributes, const RelationshipDictionary& relationships,
            bool requestMapping, InProgress& inProgress);
  void addNested(ObjectMapping& parent, const std::string& source, const std::string& destination,
                 const std::string& className, bool requestMapping, InProgress& inProgress);
  std::shared_ptr<ObjectMapping> nestedMapping(const std::string& className, bool requestMapping,
                                               InProgress& inProgress);

  std::weak_ptr<MappingStore> objectStore_;
};

}  // namespace dm
