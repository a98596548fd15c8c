// InMemoryDestination: objects are vectors of field values indexed by the class's field ids.
#include "Platform/ObjectMapping/InMemoryDestination.h"

#include <stdexcept>
#include <unordered_map>

namespace dm {

struct InMemoryDestination::ClassInfo {
  ClassId id = 0;
  std::string name;
  const ClassInfo* superclass = nullptr;
  std::vector<AttributeSpec> attributes;
  std::vector<RelationshipSpec> relationships;
  std::unordered_map<std::string, FieldId> attributeIds;
  std::unordered_map<std::string, FieldId> relationshipIds;
  std::deque<std::unique_ptr<Object>> objects;
};

struct InMemoryDestination::Object {
  const ClassInfo* cls;
  std::vector<SourceValue> values;
  std::vector<std::vector<ObjectRef>> relations;
};

InMemoryDestination::InMemoryDestination() = default;
InMemoryDestination::~InMemoryDestination() = default;

void InMemoryDestination::registerClass(ClassSpec spec) {
  if (classIds_.count(spec.name))
    throw std::invalid_argument("class already registered: " + spec.name);
  auto info = std::make_unique<ClassInfo>();
  info->id = static_cast<ClassId>(classes_.size());
  info->name = spec.name;
  if (!spec.superclass.empty()) {
    const ClassInfo& parent = classOf(spec.superclass);
    info->superclass = &parent;
    info->attributes = parent.attributes;
    info->relationships = parent.relationships;
  }
  info->attributes.insert(info->attributes.end(), spec.attributes.begin(), spec.attributes.end());
  info->relationships.insert(info->relationships.end(), spec.relationships.begin(),
                             spec.relationships.end());
  for (std::size_t i = 0; i < info->attributes.size(); ++i) {
    info->attributeIds[info->attributes[i].name] = static_cast<FieldId>(i);
  }
  for (std::size_t i = 0; i < info->relationships.size(); ++i) {
    info->relationshipIds[info->relationships[i].name] = static_cast<FieldId>(i);
  }
  classIds_.emplace(spec.name, info->id);
  classes_.push_back(std::move(info));
}

const InMemoryDestination::ClassInfo& InMemoryDestination::classOf(std::string_view name) const {
  auto it = classIds_.find(std::string(name));
  if (it == classIds_.end()) throw std::invalid_argument("unknown class: " + std::string(name));
  return *classes_[it->second];
}

InMemoryDestination::Object& InMemoryDestination::object(ObjectRef ref) {
  if (!ref) throw std::invalid_argument("null object");
  return *static_cast<Object*>(ref.handle);
}

FieldId InMemoryDestination::attributeIndex(const ClassInfo& cls, std::string_view field) {
  auto it = cls.attributeIds.find(std::string(field));
  if (it == cls.attributeIds.end()) {
    throw std::invalid_argument(cls.name + " has no attribute " + std::string(field));
  }
  return it->second;
}

FieldId InMemoryDestination::relationshipIndex(const ClassInfo& cls, std::string_view field) {
  auto it = cls.relationshipIds.find(std::string(field));
  if (it == cls.relationshipIds.end()) {
    throw std::invalid_argument(cls.name + " has no relationship " + std::string(field));
  }
  return it->second;
}

ObjectRef InMemoryDestination::insert(std::string_view className) {
  return createObject(classOf(className).id);
}

std::vector<ObjectRef> InMemoryDestination::objects(std::string_view className) const {
  std::vector<ObjectRef> refs;
  for (const auto& obj : classOf(className).objects) refs.push_back(ObjectRef{obj.get()});
  return refs;
}

std::string InMemoryDestination::className(ObjectRef ref) const {
  return object(ref).cls->name;
}

Value InMemoryDestination::get(ObjectRef ref, std::string_view field) const {
  const Object& obj = object(ref);
  const auto& stored = obj.values[attributeIndex(*obj.cls, field)];
  if (const Value* value = std::get_if<Value>(&stored)) return *value;
  return Value();
}

nlohmann::json InMemoryDestination::tree(ObjectRef ref, std::string_view field) const {
  const Object& obj = object(ref);
  const auto& stored = obj.values[attributeIndex(*obj.cls, field)];
  if (const auto* tree = std::get_if<nlohmann::json>(&stored)) return *tree;
  return jsonFromValue(std::get<Value>(stored));
}

void InMemoryDestination::set(ObjectRef ref, std::string_view field, Value value) {
  Object& obj = object(ref);
  obj.values[attributeIndex(*obj.cls, field)] = std::move(value);
}

ObjectRef InMemoryDestination::toOne(ObjectRef ref, std::string_view relationship) const {
  const Object& obj = object(ref);
  const auto& targets = obj.relations[relationshipIndex(*obj.cls, relationship)];
  return targets.empty() ? ObjectRef{} : targets.front();
}

std::vector<ObjectRef> InMemoryDestination::toMany(ObjectRef ref,
                                                   std::string_view relationship) const {
  const Object& obj = object(ref);
  return obj.relations[relationshipIndex(*obj.cls, relationship)];
}

void InMemoryDestination::link(ObjectRef ref, std::string_view relationship,
                               std::vector<ObjectRef> targets) {
  Object& obj = object(ref);
  obj.relations[relationshipIndex(*obj.cls, relationship)] = std::move(targets);
}

std::optional<ClassId> InMemoryDestination::resolveClass(std::string_view name) {
  auto it = classIds_.find(std::string(name));
  if (it == classIds_.end()) return std::nullopt;
  return it->second;
}

std::optional<DestinationAttribute> InMemoryDestination::describeAttribute(ClassId cls,
                                                                           std::string_view name) {
  const ClassInfo& info = *classes_.at(cls);
  auto it = info.attributeIds.find(std::string(name));
  if (it == info.attributeIds.end()) return std::nullopt;
  return DestinationAttribute{it->second, info.attributes[it->second].kind};
}

std::optional<DestinationRelationship> InMemoryDestination::describeRelationship(
    ClassId cls, std::string_view name) {
  const ClassInfo& info = *classes_.at(cls);
  auto it = info.relationshipIds.find(std::string(name));
  if (it == info.relationshipIds.end()) return std::nullopt;
  const auto& spec = info.relationships[it->second];
  return DestinationRelationship{it->second, spec.toMany, spec.destinationClass};
}

bool InMemoryDestination::hasObjects(ClassId cls) {
  return !classes_.at(cls)->objects.empty();
}

void InMemoryDestination::findObjects(ClassId cls, const std::vector<FieldId>& fields,
                                      const IdentityKeyTable& keys, Matches matches,
                                      const std::function<void(std::size_t, ObjectRef)>& found) {
  if (keys.size() == 0 || fields.size() != keys.width()) return;
  // One pass over the class's objects, probing the wanted keys.
  std::vector<bool> reported(matches == Matches::First ? keys.size() : 0, false);
  std::vector<Value> probe(fields.size());
  for (const auto& obj : classes_.at(cls)->objects) {
    for (std::size_t f = 0; f < fields.size(); ++f) {
      const auto& stored = obj->values[fields[f]];
      probe[f] = std::holds_alternative<Value>(stored) ? std::get<Value>(stored) : Value();
    }
    const std::size_t n = keys.find(probe.data());
    if (n == IdentityKeyTable::npos) continue;
    if (matches == Matches::First) {
      if (reported[n]) continue;
      reported[n] = true;
    }
    found(n, ObjectRef{obj.get()});
  }
}

ObjectRef InMemoryDestination::createObject(ClassId cls) {
  ClassInfo& info = *classes_.at(cls);
  auto obj = std::make_unique<Object>();
  obj->cls = &info;
  obj->values.resize(info.attributes.size(), Value());
  obj->relations.resize(info.relationships.size());
  ObjectRef ref{obj.get()};
  info.objects.push_back(std::move(obj));
  return ref;
}

Value InMemoryDestination::value(ObjectRef ref, FieldId field) {
  const auto& stored = object(ref).values.at(field);
  if (const Value* value = std::get_if<Value>(&stored)) return *value;
  return Value();
}

void InMemoryDestination::setValue(ObjectRef ref, FieldId field, Value value) {
  object(ref).values.at(field) = std::move(value);
}

void InMemoryDestination::setTree(ObjectRef ref, FieldId field, nlohmann::json tree) {
  object(ref).values.at(field) = std::move(tree);
}

void InMemoryDestination::setToOne(ObjectRef ref, FieldId relationship, ObjectRef target) {
  auto& targets = object(ref).relations.at(relationship);
  targets.clear();
  if (target) targets.push_back(target);
}

void InMemoryDestination::setToMany(ObjectRef ref, FieldId relationship,
                                    std::vector<ObjectRef> targets) {
  object(ref).relations.at(relationship) = std::move(targets);
}

bool InMemoryDestination::isKindOfClass(ObjectRef ref, std::string_view className) const {
  for (const ClassInfo* cls = object(ref).cls; cls; cls = cls->superclass) {
    if (cls->name == className) return true;
  }
  return false;
}

std::optional<SourceValue> InMemoryDestination::fieldValue(ObjectRef ref,
                                                           std::string_view field) const {
  const Object& obj = object(ref);
  auto it = obj.cls->attributeIds.find(std::string(field));
  if (it == obj.cls->attributeIds.end()) return std::nullopt;
  return obj.values[it->second];
}

std::optional<std::vector<ObjectRef>> InMemoryDestination::relatedObjects(
    ObjectRef ref, std::string_view relationship, bool& toMany) const {
  const Object& obj = object(ref);
  auto it = obj.cls->relationshipIds.find(std::string(relationship));
  if (it == obj.cls->relationshipIds.end()) return std::nullopt;
  toMany = obj.cls->relationships[it->second].toMany;
  return obj.relations[it->second];
}

}  // namespace dm
