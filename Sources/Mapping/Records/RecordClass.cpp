// Record class descriptors and their registry.
#include "Mapping/Records/RecordClass.h"

#include <algorithm>
#include <mutex>
#include <unordered_map>

namespace dm {
namespace {

struct Registry {
  std::mutex mutex;
  std::unordered_map<std::string, const RecordClass*> byName;  // guarded by mutex
  // Replaced descriptors stay alive: callers may still hold them.
  std::vector<std::unique_ptr<RecordClass>> owned;  // guarded by mutex
};

Registry& registry() {
  static Registry instance;
  return instance;
}

// Inheritance chains are short; the cap only stops a cycle of misdeclared superclasses.
constexpr int kMaximumInheritanceDepth = 64;

}  // namespace

RecordClass::RecordClass(std::string name, std::string superclassName)
    : name_(std::move(name)), superclassName_(std::move(superclassName)) {}

RecordClass::~RecordClass() = default;

const RecordClass* RecordClass::superclass() const {
  return superclassName_.empty() ? nullptr : RecordClasses::classNamed(superclassName_);
}

bool RecordClass::isSubclassOfClass(std::string_view className) const {
  const RecordClass* current = this;
  for (int depth = 0; current && depth < kMaximumInheritanceDepth; ++depth) {
    if (current->name() == className) return true;
    if (current->superclassName() == className) return true;
    current = current->superclass();
  }
  return false;
}

MappingDictionary RecordClass::attributeMappings() const {
  return {};
}
RelationshipDictionary RecordClass::relationshipMappings() const {
  return {};
}
std::optional<std::vector<std::string>> RecordClass::identificationAttributes() const {
  return std::nullopt;
}
std::optional<std::string> RecordClass::rootKeyPath() const {
  return std::nullopt;
}
std::optional<std::string> RecordClass::pluralRootKeyPath() const {
  return std::nullopt;
}
MappingDictionary RecordClass::serializationAttributeMappings() const {
  return attributeMappings();
}
RelationshipDictionary RecordClass::serializationRelationshipMappings() const {
  return relationshipMappings();
}
std::map<std::string, ForeignKeyRelation> RecordClass::foreignKeyRelations() const {
  return {};
}

const RecordClass& RecordClasses::registerClass(std::unique_ptr<RecordClass> recordClass) {
  Registry& r = registry();
  std::lock_guard lock(r.mutex);
  const RecordClass* raw = recordClass.get();
  r.owned.push_back(std::move(recordClass));
  r.byName[raw->name()] = raw;
  return *raw;
}

const RecordClass* RecordClasses::classNamed(std::string_view name) {
  Registry& r = registry();
  std::lock_guard lock(r.mutex);
  auto it = r.byName.find(std::string(name));
  return it == r.byName.end() ? nullptr : it->second;
}

std::vector<std::string> RecordClasses::classNames() {
  Registry& r = registry();
  std::lock_guard lock(r.mutex);
  std::vector<std::string> names;
  names.reserve(r.byName.size());
  for (const auto& [name, cls] : r.byName) names.push_back(name);
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace dm
