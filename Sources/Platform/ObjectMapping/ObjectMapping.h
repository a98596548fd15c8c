// A mapping between JSON and records: attribute mappings (key path to key path),
// relationship mappings with a nested mapping, identification attributes and foreign-key
// connections.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/ObjectMapping/KeyPath.h"

namespace dm {

// Three kinds share one type:
// - an object mapping fills plain (transient) objects of a class, always creating new ones;
// - an entity mapping fills stored entities and, with identification attributes, matches
//   incoming records to existing ones (created when missing);
// - a request mapping turns a record into a dictionary (from field to server key).
// In object and entity mappings sources are payload key paths and destinations field names;
// in request mappings sources are field names and destinations key paths of the body.
// Build a mapping completely before handing it to an operation; afterwards it is read-only
// and may be shared between threads. Nested mappings are owned by the mappings that nest
// them, except where an edge would close a cycle (a comment's replies nest the comment
// mapping again): such a back reference is weak, so a cyclic graph is freed with its root.
// Keep the root alive while any of its nested mappings is in use.
class ObjectMapping {
 public:
  enum class Kind { Object, Entity, Request };

  struct AttributeMapping {
    KeyPath source;
    KeyPath destination;
  };
  struct RelationshipMapping {
    KeyPath source;
    KeyPath destination;
    // The nested mapping; null when none was given or when a back reference's owner is
    // gone.
    std::shared_ptr<const ObjectMapping> mapping() const {
      return owned ? owned : backReference.lock();
    }
    bool isBackReference() const { return !owned && !backReference.expired(); }

    std::shared_ptr<const ObjectMapping> owned;
    std::weak_ptr<const ObjectMapping> backReference;
  };
  // Connects `relationship` to the record of the relationship's class whose
  // `destinationAttribute` equals this record's `sourceAttribute` (trainingDay by
  // trainingDayId == entityID). For a to-many relationship every matching record is
  // connected.
  struct Connection {
    std::string relationship;
    std::string sourceAttribute;
    std::string destinationAttribute;
  };

  static std::shared_ptr<ObjectMapping> objectMapping(std::string className);
  static std::shared_ptr<ObjectMapping> entityMapping(std::string entityName);
  static std::shared_ptr<ObjectMapping> requestMapping();

  Kind kind() const { return kind_; }
  // The class (object mapping) or entity (entity mapping) name; empty for request mappings.
  const std::string& className() const { return className_; }

  void addAttributeMapping(std::string_view source, std::string_view destination);
  // Adds one attribute mapping per pair (source -> destination).
  void addAttributeMappings(const std::map<std::string, std::string>& sourceToDestination);
  // Adds identity mappings (each name maps to itself).
  void addAttributeMappings(const std::vector<std::string>& names);
  // Holds `mapping` strongly unless `mapping` already reaches this mapping through owned
  // edges (or is this mapping); then the edge is a weak back reference.
  void addRelationshipMapping(std::string_view source, std::string_view destination,
                              std::shared_ptr<const ObjectMapping> mapping);
  // How several identification attributes identify a record: together (a compound key) or
  // each on its own (a message matched by its server id or else by its client guid; the
  // first attribute wins when they point at different records).
  enum class IdentificationMatch { AllAttributes, AnyAttribute };
  // Only meaningful for entity mappings; ignored by the others.
  void setIdentificationAttributes(std::vector<std::string> attributes,
                                   IdentificationMatch match = IdentificationMatch::AllAttributes);
  void addConnection(std::string relationship, std::string sourceAttribute,
                     std::string destinationAttribute);

  const std::vector<AttributeMapping>& attributeMappings() const { return attributes_; }
  const std::vector<RelationshipMapping>& relationshipMappings() const { return relationships_; }
  const std::vector<std::string>& identificationAttributes() const { return identification_; }
  IdentificationMatch identificationMatch() const { return identificationMatch_; }
  const std::vector<Connection>& connections() const { return connections_; }

  explicit ObjectMapping(Kind kind, std::string className = {});

 private:
  // Whether `this` is reachable from `start` through owned edges.
  bool isReachableFrom(const ObjectMapping& start) const;

  Kind kind_;
  std::string className_;
  std::vector<AttributeMapping> attributes_;
  std::vector<RelationshipMapping> relationships_;
  std::vector<std::string> identification_;
  IdentificationMatch identificationMatch_ = IdentificationMatch::AllAttributes;
  std::vector<Connection> connections_;
};

}  // namespace dm
