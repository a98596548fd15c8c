// The registry of record classes: which C++ class the context instantiates for an entity.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace dm {

class ManagedObject;

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
