// The mapping-building algorithm: automatic plus declared mappings of record classes turned
// into the mapping engine's request, object and entity mappings.
#include "Mapping/Records/ModelMapper.h"

#include "Mapping/Records/BaseMappableEntity.h"
#include "Platform/Foundation/Logger.h"

namespace dm {

void ModelMapper::registerWith(Injector& injector) {
  injector.registerSingleton<ModelMapper>(
      [](Injector&) { return std::make_shared<ModelMapper>(); },
      {Injector::requirement("objectStore", &ModelMapper::setObjectStore)});
}

std::shared_ptr<ModelMapper> ModelMapper::shared() {
  auto injector = Injector::defaultInjector();
  if (!injector->isRegistered<ModelMapper>()) registerWith(*injector);
  return injector->get<ModelMapper>();
}

void ModelMapper::setObjectStore(std::shared_ptr<MappingStore> store) {
  objectStore_ = store;
}

std::shared_ptr<const ObjectMapping> ModelMapper::requestMappingForClass(
    const RecordClass& recordClass) {
  InProgress inProgress;
  return nestedMapping(recordClass.name(), true, inProgress);
}

std::shared_ptr<const ObjectMapping> ModelMapper::responseMappingForClass(
    const RecordClass& recordClass) {
  InProgress inProgress;
  return nestedMapping(recordClass.name(), false, inProgress);
}

RequestDescriptor ModelMapper::requestDescriptorForClass(
    const RecordClass& recordClass, const std::optional<std::string>& rootKeyPath,
    RequestMethod method) {
  return RequestDescriptor(requestMappingForClass(recordClass), recordClass.name(),
                           rootKeyPath.value_or(std::string()), method);
}

ResponseDescriptor ModelMapper::responseDescriptorForClass(
    const RecordClass& recordClass, std::string pathPattern,
    const std::optional<std::string>& keyPath, RequestMethod method, std::set<int> statusCodes) {
  return ResponseDescriptor(responseMappingForClass(recordClass), method, std::move(pathPattern),
                            keyPath.value_or(std::string()), std::move(statusCodes));
}

std::shared_ptr<ObjectMapping> ModelMapper::mappingForClass(
    const RecordClass* targetClass, const MappingDictionary& attributes,
    const RelationshipDictionary& relationships, bool requestMapping) {
  InProgress inProgress;
  return build(targetClass, attributes, relationships, requestMapping, inProgress);
}

std::shared_ptr<ObjectMapping> ModelMapper::nestedMapping(const std::string& className,
                                                          bool requestMapping,
                                                          InProgress& inProgress) {
  auto key = std::make_pair(className, requestMapping);
  if (auto found = inProgress.find(key); found != inProgress.end()) return found->second;
  const RecordClass* cls = RecordClasses::classNamed(className);
  if (!cls) return emptyMapping(nullptr, requestMapping, className);
  if (requestMapping) {
    return build(cls, cls->serializationAttributeMappings(),
                 cls->serializationRelationshipMappings(), true, inProgress);
  }
  return build(cls, cls->attributeMappings(), cls->relationshipMappings(), false, inProgress);
}

std::shared_ptr<ObjectMapping> ModelMapper::emptyMapping(const RecordClass* targetClass,
                                                         bool requestMapping,
                                                         const std::string& missingClassName) {
  if (!targetClass) {
    if (missingClassName.empty()) return ObjectMapping::requestMapping();  // a dictionary
    logWarning("ModelMapper: no record class named \"" + missingClassName + "\"");
    return requestMapping ? ObjectMapping::requestMapping()
                          : ObjectMapping::objectMapping(missingClassName);
  }
  if (requestMapping) return ObjectMapping::requestMapping();
  if (const auto* entityClass = dynamic_cast<const BaseMappableEntity::Class*>(targetClass)) {
    return ObjectMapping::entityMapping(entityClass->entityName());
  }
  return ObjectMapping::objectMapping(targetClass->name());
}

std::shared_ptr<ObjectMapping> ModelMapper::build(const RecordClass* targetClass,
                                                  const MappingDictionary& attributes,
                                                  const RelationshipDictionary& relationships,
                                                  bool requestMapping, InProgress& inProgress) {
  auto mapping = emptyMapping(targetClass, requestMapping);
  // Registered before the relationships are built, so a class that nests itself finds it.
  if (targetClass) inProgress[{targetClass->name(), requestMapping}] = mapping;
  fill(*mapping, targetClass, attributes, relationships, requestMapping, inProgress);
  return mapping;
}

void ModelMapper::fill(ObjectMapping& mapping, const RecordClass* targetClass,
                       const MappingDictionary& attributes,
                       const RelationshipDictionary& relationships, bool requestMapping,
                       InProgress& inProgress) {
  for (const auto& [field, serverKey] : attributes) {
    if (relationships.count(field)) continue;
    if (requestMapping) {
      mapping.addAttributeMapping(field, serverKey);
    } else {
      mapping.addAttributeMapping(serverKey, field);
    }
  }
  for (const auto& [field, className] : relationships) {
    auto serverKey = attributes.find(field);
    if (serverKey == attributes.end()) continue;
    if (requestMapping) {
      addNested(mapping, field, serverKey->second, className, true, inProgress);
    } else {
      addNested(mapping, serverKey->second, field, className, false, inProgress);
    }
  }
  const auto* entityClass = dynamic_cast<const BaseMappableEntity::Class*>(targetClass);
  if (!requestMapping && entityClass) {
    if (auto identification = entityClass->identificationAttributes()) {
      mapping.setIdentificationAttributes(*identification,
                                          entityClass->identifiesByAnyAttribute()
                                              ? ObjectMapping::IdentificationMatch::AnyAttribute
                                              : ObjectMapping::IdentificationMatch::AllAttributes);
    }
    for (const auto& [relationship, key] : entityClass->foreignKeyRelations()) {
      mapping.addConnection(relationship, key.sourceAttribute, key.destinationAttribute);
    }
  }
}

void ModelMapper::addNested(ObjectMapping& parent, const std::string& source,
                            const std::string& destination, const std::string& className,
                            bool requestMapping, InProgress& inProgress) {
  auto key = std::make_pair(className, requestMapping);
  if (auto found = inProgress.find(key); found != inProgress.end()) {
    parent.addRelationshipMapping(source, destination, found->second);
    return;
  }
  const RecordClass* cls = RecordClasses::classNamed(className);
  auto nested = emptyMapping(cls, requestMapping, className);
  parent.addRelationshipMapping(source, destination, nested);
  if (!cls) return;
  inProgress[key] = nested;
  if (requestMapping) {
    fill(*nested, cls, cls->serializationAttributeMappings(),
         cls->serializationRelationshipMappings(), true, inProgress);
  } else {
    fill(*nested, cls, cls->attributeMappings(), cls->relationshipMappings(), false, inProgress);
  }
}

}  // namespace dm
