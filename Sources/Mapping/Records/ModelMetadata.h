// Answers about the store's model for record classes: which entity a class is, and which
// properties that entity has.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Mapping/Records/MappingStore.h"
#include "Mapping/Records/RecordClass.h"
#include "Platform/Foundation/Injector.h"

namespace dm {

// One property of an entity, copied out of the model.
struct PropertyDescription {
  enum class Kind { Attribute, Relationship };
  Kind kind = Kind::Attribute;
  std::string name;
  AttributeType attributeType = AttributeType::String;  // attributes only
  bool toMany = false;                                  // relationships only
  std::string destinationEntityName;                    // relationships only
  std::string destinationClassName;                     // relationships only
};

// An injector singleton requiring "objectStore". Thread-safe; the entity-name table is built
// once (the model does not change while the process runs).
class ModelMetadata {
 public:
  // Registers ModelMetadata as a singleton of `injector` requiring "objectStore" (a
  // MappingStore provider). Any thread.
  static void registerWith(Injector& injector);
  // The instance of the default injector, registering the class there first when needed;
  // nullptr (and a logged error) when no "objectStore" is provided. Any thread.
  static std::shared_ptr<ModelMetadata> shared();

  // The store is not owned: the injector's provider keeps it alive.
  void setObjectStore(std::shared_ptr<MappingStore> store);
  std::shared_ptr<MappingStore> objectStore() const { return objectStore_.lock(); }

  // Record class name -> entity name, over every entity of the store's model; when two
  // entities share a class name the later one in model order wins. Empty (and not kept) while
  // the store is gone. The reference stays valid for the instance's life.
  const std::map<std::string, std::string>& entityNamesByClassName();
  // Attributes (model order) then relationships of the class's entity; empty for a class
  // without an entity. The caller owns the list.
  std::vector<PropertyDescription> propertiesForClass(const RecordClass& recordClass);
  std::vector<PropertyDescription> propertiesForClassName(const std::string& className);

 private:
  std::weak_ptr<MappingStore> objectStore_;
  std::mutex mutex_;
  bool built_ = false;                              // guarded by mutex_
  std::map<std::string, std::string> entityNames_;  // immutable once built_
  const std::map<std::string, std::string> empty_{};
};

}  // namespace dm
