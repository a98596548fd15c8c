// The record class registry.
#include "Platform/ObjectStore/ManagedObjectClasses.h"

#include <functional>
#include <mutex>
#include <string_view>
#include <unordered_map>

#include "Platform/ObjectStore/ManagedObject.h"

namespace dm {
namespace {

struct Entry {
  ManagedObjectClasses::Factory factory;
  bool isDefault = false;
};

// Looked up by string_view without building a std::string: create() runs once per object.
struct NameHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view name) const {
    return std::hash<std::string_view>()(name);
  }
};

struct Registry {
  std::mutex mutex;
  std::unordered_map<std::string, Entry, NameHash, std::equal_to<>> entries;  // guarded by mutex
};

Registry& registry() {
  static Registry instance;
  return instance;
}

}  // namespace

void ManagedObjectClasses::registerClass(std::string className, Factory factory, bool isDefault) {
  auto& r = registry();
  std::lock_guard lock(r.mutex);
  auto it = r.entries.find(className);
  if (it != r.entries.end() && isDefault && !it->second.isDefault) return;
  r.entries[std::move(className)] = Entry{std::move(factory), isDefault};
}

std::unique_ptr<ManagedObject> ManagedObjectClasses::create(std::string_view className) {
  auto& r = registry();
  Factory factory;
  {
    std::lock_guard lock(r.mutex);
    auto it = r.entries.find(className);
    if (it != r.entries.end()) factory = it->second.factory;
  }
  return factory ? factory() : std::make_unique<ManagedObject>();
}

}  // namespace dm
