// Entity names and property descriptions of record classes.
#include "Mapping/Records/ModelMetadata.h"

#include "Platform/Foundation/Logger.h"

namespace dm {

void ModelMetadata::registerWith(Injector& injector) {
  injector.registerSingleton<ModelMetadata>(
      [](Injector&) { return std::make_shared<ModelMetadata>(); },
      {Injector::requirement("objectStore", &ModelMetadata::setObjectStore)});
}

std::shared_ptr<ModelMetadata> ModelMetadata::shared() {
  auto injector = Injector::defaultInjector();
  if (!injector->isRegistered<ModelMetadata>()) registerWith(*injector);
  return injector->get<ModelMetadata>();
}

void ModelMetadata::setObjectStore(std::shared_ptr<MappingStore> store) {
  objectStore_ = store;
}

const std::map<std::string, std::string>& ModelMetadata::entityNamesByClassName() {
  std::lock_guard lock(mutex_);
  if (built_) return entityNames_;
  auto store = objectStore_.lock();
  if (!store) {
    logWarning("ModelMetadata: the object store is gone; no entity names");
    return empty_;
  }
  auto model = store->managedObjectModel();
  for (const EntityDescription* entity : model->entities()) {
    entityNames_[entity->className()] = entity->name();
  }
  built_ = true;
  return entityNames_;
}

std::vector<PropertyDescription> ModelMetadata::propertiesForClass(const RecordClass& recordClass) {
  return propertiesForClassName(recordClass.name());
}

std::vector<PropertyDescription> ModelMetadata::propertiesForClassName(
    const std::string& className) {
  const auto& names = entityNamesByClassName();
  auto found = names.find(className);
  if (found == names.end()) return {};
  auto store = objectStore_.lock();
  if (!store) return {};
  auto model = store->managedObjectModel();
  const EntityDescription* entity = model->entityNamed(found->second);
  if (!entity) return {};
  std::vector<PropertyDescription> properties;
  properties.reserve(entity->attributes().size() + entity->relationships().size());
  for (const auto& attribute : entity->attributes()) {
    PropertyDescription p;
    p.kind = PropertyDescription::Kind::Attribute;
    p.name = attribute.name;
    p.attributeType = attribute.type;
    properties.push_back(std::move(p));
  }
  for (const auto& relationship : entity->relationships()) {
    PropertyDescription p;
    p.kind = PropertyDescription::Kind::Relationship;
    p.name = relationship.name;
    p.toMany = relationship.toMany;
    p.destinationEntityName = relationship.destinationName;
    p.destinationClassName = relationship.destination ? relationship.destination->className()
                                                      : relationship.destinationName;
    properties.push_back(std::move(p));
  }
  return properties;
}

}  // namespace dm
