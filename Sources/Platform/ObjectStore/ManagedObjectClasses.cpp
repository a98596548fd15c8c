// The record class registry.
#include "Platform/ObjectStore/ManagedObjectClasses.h"

#include <atomic>
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
  // Guarded by mutex; each class's list is never resized after registration, so pointers
  // into it stay valid.
  std::unordered_map<std::string, std::unique_ptr<const std::vector<RecordSetter>>, NameHash,
                     std::equal_to<>>
      setters;
  std::vector<std::unique_ptr<const std::vector<RecordSetter>>> replaced;  // kept alive
  std::atomic<bool> anySetters{false};
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

void ManagedObjectClasses::registerSetters(std::string className,
                                           std::vector<RecordSetter> setters) {
  auto& r = registry();
  std::lock_guard lock(r.mutex);
  auto& slot = r.setters[std::move(className)];
  if (slot) r.replaced.push_back(std::move(slot));
  slot = std::make_unique<const std::vector<RecordSetter>>(std::move(setters));
  r.anySetters = true;
}

const RecordSetter* ManagedObjectClasses::setterFor(std::string_view className,
                                                    std::string_view field) {
  auto& r = registry();
  if (!r.anySetters) return nullptr;
  std::lock_guard lock(r.mutex);
  auto it = r.setters.find(className);
  if (it == r.setters.end()) return nullptr;
  for (const auto& setter : *it->second)
    if (setter.field == field) return &setter;
  return nullptr;
}

bool ManagedObjectClasses::anySetters() {
  return registry().anySetters;
}

}  // namespace dm
