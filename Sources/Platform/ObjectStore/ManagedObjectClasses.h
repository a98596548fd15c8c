// The registry of record classes: which C++ class the context instantiates for an entity.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/ObjectStore/Value.h"

namespace dm {

class ManagedObject;

// A field that the mapping engine sets through the record's own code instead of writing the
// value: a stored attribute whose setter keeps rules (a time set only once, a state that only
// advances), or a mapped field the record does not store (it updates stored ones instead).
struct RecordSetter {
  std::string field;
  // The kind of value the setter takes; a stored attribute's own type. A dictionary or list
  // arrives archived: read it with structureFromValue (StructuredValue.h).
  AttributeType type = AttributeType::String;
  // Called on the record's context queue with the transformed value (null for JSON null).
  std::function<void(ManagedObject& record, const Value& value)> apply;
};

// Generated accessor bases and hand-written record classes register a factory under their
// entity's class name; entities without one get a plain ManagedObject.
// Thread-safe; registration normally happens during static initialisation.
class ManagedObjectClasses {
 public:
  using Factory = std::function<std::unique_ptr<ManagedObject>()>;
  // A later registration under the same name replaces the earlier one unless the earlier
  // one was not a default (generated bases register as defaults).
  static void registerClass(std::string className, Factory factory, bool isDefault = false);
  // A new instance owned by the caller; a plain ManagedObject when nothing is registered.
  static std::unique_ptr<ManagedObject> create(std::string_view className);

  // Declares the setters of a class (replacing earlier ones). Subclasses inherit them through
  // their entity's parent; see setterFor.
  static void registerSetters(std::string className, std::vector<RecordSetter> setters);
  // The setter of `field` declared by `className`, or nullptr. The pointer stays valid for the
  // rest of the process unless the class's setters are registered again.
  static const RecordSetter* setterFor(std::string_view className, std::string_view field);
  // True when any class declared setters (lets callers skip the lookups otherwise).
  static bool anySetters();
};

// Declares setters from a static initialiser:
// `const RecordSetterRegistration r("ChatMessageEntity", {{"time", AttributeType::Date, fn}});`
struct RecordSetterRegistration {
  RecordSetterRegistration(const char* className, std::vector<RecordSetter> setters) {
    ManagedObjectClasses::registerSetters(className, std::move(setters));
  }
};

// Registers a class from a static initialiser: `const ManagedObjectClassRegistration<X> r("X");`
template <typename T>
struct ManagedObjectClassRegistration {
  explicit ManagedObjectClassRegistration(const char* className, bool isDefault = false) {
    ManagedObjectClasses::registerClass(
        className, [] { return std::unique_ptr<ManagedObject>(std::make_unique<T>()); }, isDefault);
  }
};

}  // namespace dm
