// Record classes as objects: each record class has one descriptor whose virtual operations
// are its class-level declarations (mappings, identification, root key paths), and the
// registry that finds descriptors by class name.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace dm {

// Field name -> server key (JSON key or key path).
using MappingDictionary = std::map<std::string, std::string>;
// Relationship field name -> record class name of the related records.
using RelationshipDictionary = std::map<std::string, std::string>;

// A relationship connected by matching a field of this record to a field of the related one
// (trainingDay by trainingDayId == entityID).
struct ForeignKeyRelation {
  std::string sourceAttribute;
  std::string destinationAttribute;
};

// The class object of a record class. Subclasses override the declarations they change and
// call their base's version for the inherited part, so an algorithm of a base class that asks
// `this` for a declaration gets the most derived answer.
//
// Descriptors are created once at registration and never destroyed; their operations may be
// called from any thread (implementations must not depend on state that changes later).
class RecordClass {
 public:
  RecordClass(std::string name, std::string superclassName);
  virtual ~RecordClass();
  RecordClass(const RecordClass&) = delete;
  RecordClass& operator=(const RecordClass&) = delete;

  const std::string& name() const { return name_; }
  const std::string& superclassName() const { return superclassName_; }
  // The registered descriptor of the superclass; nullptr for a root or an unregistered one.
  const RecordClass* superclass() const;
  // True when this class is `className` or inherits from it.
  bool isSubclassOfClass(std::string_view className) const;
  bool isSubclassOfClass(const RecordClass& other) const { return isSubclassOfClass(other.name()); }

  // True for stored records (entities), false for transient ones.
  virtual bool isEntityClass() const = 0;

  virtual MappingDictionary attributeMappings() const;
  virtual RelationshipDictionary relationshipMappings() const;
  // Field names that identify a record when a payload is matched to stored records; nothing
  // when records of the class are not matched.
  virtual std::optional<std::vector<std::string>> identificationAttributes() const;
  virtual std::optional<std::string> rootKeyPath() const;
  virtual std::optional<std::string> pluralRootKeyPath() const;
  // The mappings used when a record is sent.
  virtual MappingDictionary serializationAttributeMappings() const;
  virtual RelationshipDictionary serializationRelationshipMappings() const;
  // Relationship name -> how it is connected by a foreign key; empty by default.
  virtual std::map<std::string, ForeignKeyRelation> foreignKeyRelations() const;

 private:
  std::string name_;
  std::string superclassName_;
};

// The process-wide registry of record classes. Thread-safe. Registration normally happens
// during static initialisation (see RecordClassRegistration); a later registration under the
// same name replaces the earlier one (descriptors already handed out stay valid).
class RecordClasses {
 public:
  // Takes ownership; returns the registered descriptor (valid for the rest of the process).
  static const RecordClass& registerClass(std::unique_ptr<RecordClass> recordClass);
  // The descriptor registered under `name`; nullptr when none.
  static const RecordClass* classNamed(std::string_view name);
  // Names of every registered class, sorted.
  static std::vector<std::string> classNames();
};

}  // namespace dm
