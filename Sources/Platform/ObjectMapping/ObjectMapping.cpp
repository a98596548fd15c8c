// ObjectMapping: declaration only; key paths are split here so that operations never do.
#include "Platform/ObjectMapping/ObjectMapping.h"

#include <unordered_set>

namespace dm {

ObjectMapping::ObjectMapping(Kind kind, std::string className)
    : kind_(kind), className_(std::move(className)) {}

std::shared_ptr<ObjectMapping> ObjectMapping::objectMapping(std::string className) {
  return std::make_shared<ObjectMapping>(Kind::Object, std::move(className));
}

std::shared_ptr<ObjectMapping> ObjectMapping::entityMapping(std::string entityName) {
  return std::make_shared<ObjectMapping>(Kind::Entity, std::move(entityName));
}

std::shared_ptr<ObjectMapping> ObjectMapping::requestMapping() {
  return std::make_shared<ObjectMapping>(Kind::Request);
}

void ObjectMapping::addAttributeMapping(std::string_view source, std::string_view destination) {
  attributes_.push_back({KeyPath(source), KeyPath(destination)});
}

void ObjectMapping::addAttributeMappings(
    const std::map<std::string, std::string>& sourceToDestination) {
  for (const auto& [source, destination] : sourceToDestination) {
    addAttributeMapping(source, destination);
  }
}

void ObjectMapping::addAttributeMappings(const std::vector<std::string>& names) {
  for (const auto& name : names) addAttributeMapping(name, name);
}

void ObjectMapping::addRelationshipMapping(std::string_view source, std::string_view destination,
                                           std::shared_ptr<const ObjectMapping> mapping) {
  RelationshipMapping relationship{KeyPath(source), KeyPath(destination), nullptr, {}};
  if (mapping && isReachableFrom(*mapping)) {
    relationship.backReference = mapping;
  } else {
    relationship.owned = std::move(mapping);
  }
  relationships_.push_back(std::move(relationship));
}

bool ObjectMapping::isReachableFrom(const ObjectMapping& start) const {
  std::vector<const ObjectMapping*> pending{&start};
  std::unordered_set<const ObjectMapping*> seen;
  while (!pending.empty()) {
    const ObjectMapping* current = pending.back();
    pending.pop_back();
    if (current == this) return true;
    if (!seen.insert(current).second) continue;
    for (const auto& relationship : current->relationships_) {
      if (relationship.owned) pending.push_back(relationship.owned.get());
    }
  }
  return false;
}

void ObjectMapping::setIdentificationAttributes(std::vector<std::string> attributes,
                                                IdentificationMatch match) {
  identification_ = std::move(attributes);
  identificationMatch_ = match;
}

void ObjectMapping::addConnection(std::string relationship, std::string sourceAttribute,
                                  std::string destinationAttribute) {
  connections_.push_back(
      {std::move(relationship), std::move(sourceAttribute), std::move(destinationAttribute)});
}

}  // namespace dm
