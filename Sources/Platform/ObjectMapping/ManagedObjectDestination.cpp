// ManagedObjectDestination: entity/attribute resolution, batched identity fetches and an
// undo log for rolling back a failed operation.
#include "Platform/ObjectMapping/ManagedObjectDestination.h"

#include <algorithm>
#include <stdexcept>
#include <unordered_map>
#include <unordered_set>

#include "Platform/ObjectStore/FetchRequest.h"
#include "Platform/ObjectStore/StructuredValue.h"

namespace dm {

ManagedObjectDestination::ManagedObjectDestination(ManagedObjectContext& context)
    : context_(context), entities_(context.model().entities()) {}

std::vector<ManagedObject*> ManagedObjectDestination::objects(const std::vector<ObjectRef>& refs) {
  std::vector<ManagedObject*> out;
  out.reserve(refs.size());
  for (auto r : refs) out.push_back(object(r));
  return out;
}

const EntityDescription& ManagedObjectDestination::entity(ClassId cls) const {
  return *entities_.at(cls);
}

std::optional<ClassId> ManagedObjectDestination::resolveClass(std::string_view name) {
  const ManagedObjectModel& model = context_.model();
  const EntityDescription* found = model.entityNamed(name);
  if (!found) found = model.entityForClassName(name);
  if (!found) return std::nullopt;
  auto it = std::find(entities_.begin(), entities_.end(), found);
  return static_cast<ClassId>(it - entities_.begin());
}

const RecordSetter* ManagedObjectDestination::declaredSetter(const EntityDescription& entity,
                                                             std::string_view name) {
  if (!ManagedObjectClasses::anySetters()) return nullptr;
  for (const EntityDescription* e = &entity; e; e = e->parent()) {
    if (const RecordSetter* setter = ManagedObjectClasses::setterFor(e->className(), name))
      return setter;
  }
  return nullptr;
}

std::optional<DestinationAttribute> ManagedObjectDestination::describeAttribute(
    ClassId cls, std::string_view name) {
  const EntityDescription& description = entity(cls);
  const AttributeDescription* attribute = description.attributeNamed(name);
  const RecordSetter* setter = declaredSetter(description, name);
  if (setter && !attribute) {
    unstored_.push_back(setter);
    return DestinationAttribute{kUnstoredField + static_cast<FieldId>(unstored_.size() - 1),
                                fieldKindFor(setter->type)};
  }
  if (!attribute) return std::nullopt;
  if (setter) routesAttributes_ = true;
  return DestinationAttribute{static_cast<FieldId>(attribute->index),
                              fieldKindFor(attribute->type)};
}

const RecordSetter* ManagedObjectDestination::attributeSetter(const ManagedObject& managed,
                                                              FieldId field) {
  const EntityDescription& description = managed.entity();
  auto [it, added] = routed_.try_emplace(&description);
  if (added) {
    for (const auto& attribute : description.attributes())
      it->second.push_back(declaredSetter(description, attribute.name));
  }
  return field < it->second.size() ? it->second[field] : nullptr;
}

void ManagedObjectDestination::applySetter(ManagedObject* managed, const RecordSetter& setter,
                                           const Value& value) {
  if (!createdHere(managed)) {
    // The setter may change any attribute: keep them all for a rollback.
    UndoEntry entry{UndoEntry::Kind::AllValues, managed};
    const std::size_t count = managed->entity().attributes().size();
    entry.values.reserve(count);
    for (std::size_t i = 0; i < count; ++i) entry.values.push_back(managed->valueAt(i));
    undo_.push_back(std::move(entry));
  }
  setter.apply(*managed, value);
}

std::optional<DestinationRelationship> ManagedObjectDestination::describeRelationship(
    ClassId cls, std::string_view name) {
  const RelationshipDescription* relationship = entity(cls).relationshipNamed(name);
  if (!relationship) return std::nullopt;
  return DestinationRelationship{static_cast<FieldId>(relationship->index), relationship->toMany,
                                 relationship->destinationName};
}

bool ManagedObjectDestination::hasObjects(ClassId cls) {
  FetchRequest request(&entity(cls));
  request.fetchLimit = 1;
  request.includesPropertyValues = false;
  return !context_.executeFetchRequest(request).empty();
}

void ManagedObjectDestination::findObjects(
    ClassId cls, const std::vector<FieldId>& fields, const IdentityKeyTable& keys, Matches matches,
    const std::function<void(std::size_t, ObjectRef)>& found) {
  if (keys.size() == 0 || fields.empty() || fields.size() != keys.width()) return;
  const EntityDescription& description = entity(cls);
  const std::string& firstName = description.attributes().at(fields.front()).name;
  if (fields.size() == 1 && matches == Matches::First) {
    // The context's lookup-many: one query plus a hash probe of its unsaved objects.
    std::vector<Value> values(keys.key(0), keys.key(0) + keys.size());
    auto byValue = context_.objectsByAttribute(description, firstName, values);
    if (byValue.empty()) return;
    for (std::size_t n = 0; n < keys.size(); ++n) {
      if (auto it = byValue.find(*keys.key(n)); it != byValue.end()) found(n, ref(it->second));
    }
    return;
  }
  // One query on the first field; the other fields of a compound key are compared here.
  std::vector<Value> firstValues;
  firstValues.reserve(keys.size());
  std::unordered_set<Value, ValueHash> seen;
  for (std::size_t n = 0; n < keys.size(); ++n) {
    if (fields.size() == 1 || seen.insert(keys.key(n)[0]).second) {
      firstValues.push_back(keys.key(n)[0]);
    }
  }
  PredicateExpression left;
  left.kind = PredicateExpression::Kind::KeyPath;
  left.keyPath = firstName;
  PredicateExpression right;
  right.kind = PredicateExpression::Kind::ConstantList;
  right.list = std::move(firstValues);
  FetchRequest request(&description);
  request.predicate =
      Predicate::comparison(std::move(left), Predicate::Operator::In, std::move(right));
  std::vector<bool> reported(matches == Matches::First ? keys.size() : 0, false);
  std::vector<Value> probe(fields.size());
  for (ManagedObject* candidate : context_.executeFetchRequest(request)) {
    for (std::size_t f = 0; f < fields.size(); ++f) probe[f] = candidate->valueAt(fields[f]);
    const std::size_t n = keys.find(probe.data());
    if (n == IdentityKeyTable::npos) continue;
    if (matches == Matches::First) {
      if (reported[n]) continue;
      reported[n] = true;
    }
    found(n, ref(candidate));
  }
}

bool ManagedObjectDestination::createdHere(ManagedObject* object) {
  if (object != lastChecked_) {
    lastChecked_ = object;
    lastCreated_ = createdSet_.count(object) != 0;
  }
  return lastCreated_;
}

ObjectRef ManagedObjectDestination::createObject(ClassId cls) {
  ManagedObject* created = context_.insertNewObject(entity(cls));
  created_.push_back(created);
  createdSet_.insert(created);
  lastChecked_ = nullptr;
  return ref(created);
}

Value ManagedObjectDestination::value(ObjectRef target, FieldId field) {
  if (field >= kUnstoredField) return {};
  return object(target)->valueAt(field);
}

void ManagedObjectDestination::setValue(ObjectRef target, FieldId field, Value value) {
  ManagedObject* managed = object(target);
  if (field >= kUnstoredField) {
    applySetter(managed, *unstored_.at(field - kUnstoredField), value);
    return;
  }
  if (routesAttributes_) {
    if (const RecordSetter* setter = attributeSetter(*managed, field)) {
      applySetter(managed, *setter, value);
      return;
    }
  }
  if (createdHere(managed)) {
    // No undo entry and so no copy of the old value; setValueAt skips equal values itself.
    managed->setValueAt(field, std::move(value));
    return;
  }
  Value previous = managed->valueAt(field);
  // Skip equal values of the same kind (equality alone takes true for 1).
  if (previous.storage().index() == value.storage().index() && previous == value) return;
  managed->setValueAt(field, std::move(value));
  UndoEntry entry{UndoEntry::Kind::Value, managed, field};
  entry.value = std::move(previous);
  undo_.push_back(std::move(entry));
}

void ManagedObjectDestination::setTree(ObjectRef target, FieldId field, nlohmann::json tree) {
  const bool unstored = field >= kUnstoredField;
  const std::string& name = unstored ? unstored_.at(field - kUnstoredField)->field
                                     : object(target)->entity().attributes().at(field).name;
  const AttributeType type = unstored ? unstored_.at(field - kUnstoredField)->type
                                      : object(target)->entity().attributes().at(field).type;
  if (!isStructured(type)) throw std::invalid_argument("Field " + name + " does not hold a tree");
  Value archived = archivedStructure(tree, type);
  if (archived.isNull() && !tree.is_null())
    throw std::invalid_argument("The value of " + name + " cannot be archived");
  setValue(target, field, std::move(archived));
}

void ManagedObjectDestination::setToOne(ObjectRef target, FieldId relationship, ObjectRef related) {
  ManagedObject* managed = object(target);
  ManagedObject* previous = managed->toOneAt(relationship);
  if (previous == object(related)) return;
  managed->setToOneAt(relationship, object(related));
  if (createdHere(managed)) return;
  UndoEntry entry{UndoEntry::Kind::ToOne, managed, relationship};
  entry.target = previous;
  undo_.push_back(std::move(entry));
}

void ManagedObjectDestination::setToMany(ObjectRef target, FieldId relationship,
                                         std::vector<ObjectRef> targets) {
  ManagedObject* managed = object(target);
  std::vector<ManagedObject*> previous = managed->toManyAt(relationship);
  std::unordered_set<ManagedObject*> wanted;
  for (auto r : targets) wanted.insert(object(r));
  std::unordered_set<ManagedObject*> present(previous.begin(), previous.end());
  bool changed = false;
  for (ManagedObject* member : previous) {
    if (!wanted.count(member)) {
      managed->removeFromManyAt(relationship, member);
      changed = true;
    }
  }
  for (auto r : targets) {
    ManagedObject* member = object(r);
    if (member && present.insert(member).second) {
      managed->addToManyAt(relationship, member);
      changed = true;
    }
  }
  if (managed->entity().relationships().at(relationship).ordered) {
    // Members that stayed keep their old places above; an ordered relationship takes the
    // payload's order, so it is laid out again when that differs.
    std::vector<ManagedObject*> wantedOrder;
    wantedOrder.reserve(targets.size());
    for (auto r : targets)
      if (object(r)) wantedOrder.push_back(object(r));
    if (managed->toManyAt(relationship) != wantedOrder) {
      for (ManagedObject* member : wantedOrder) managed->removeFromManyAt(relationship, member);
      for (ManagedObject* member : wantedOrder) managed->addToManyAt(relationship, member);
      changed = true;
    }
  }
  if (!changed || createdHere(managed)) return;
  UndoEntry entry{UndoEntry::Kind::ToMany, managed, relationship};
  entry.members = std::move(previous);
  undo_.push_back(std::move(entry));
}

void ManagedObjectDestination::discardChanges() {
  // Newest first, so every entry sees the state it was recorded against; created objects
  // are deleted last, after the relationships that point at them were restored.
  for (auto it = undo_.rbegin(); it != undo_.rend(); ++it) {
    switch (it->kind) {
      case UndoEntry::Kind::Value:
        it->object->setValueAt(it->index, std::move(it->value));
        break;
      case UndoEntry::Kind::AllValues:
        for (std::size_t i = 0; i < it->values.size(); ++i)
          it->object->setValueAt(i, std::move(it->values[i]));
        break;
      case UndoEntry::Kind::ToOne:
        it->object->setToOneAt(it->index, it->target);
        break;
      case UndoEntry::Kind::ToMany: {
        for (ManagedObject* member : it->object->toManyAt(it->index)) {
          it->object->removeFromManyAt(it->index, member);
        }
        for (ManagedObject* member : it->members) it->object->addToManyAt(it->index, member);
        break;
      }
    }
  }
  for (auto it = created_.rbegin(); it != created_.rend(); ++it) context_.deleteObject(*it);
  commitChanges();
}

bool ManagedObjectDestination::isKindOfClass(ObjectRef target, std::string_view className) const {
  const ManagedObjectModel& model = context_.model();
  const EntityDescription* wanted = model.entityForClassName(className);
  if (!wanted) wanted = model.entityNamed(className);
  return wanted && object(target)->entity().isKindOf(wanted);
}

std::optional<SourceValue> ManagedObjectDestination::fieldValue(ObjectRef target,
                                                                std::string_view field) const {
  const ManagedObject* managed = object(target);
  const AttributeDescription* attribute = managed->entity().attributeNamed(field);
  // A mapped field the record does not store is only ever set: it is sent as null.
  if (!attribute && declaredSetter(managed->entity(), field)) return SourceValue(Value());
  if (!attribute) return std::nullopt;
  if (isStructured(attribute->type)) {
    // An unset structure is sent as null, like any unset field.
    Value stored = managed->valueAt(attribute->index);
    if (stored.isNull()) return SourceValue(Value());
    return SourceValue(structureFromValue(stored, attribute->type));
  }
  return SourceValue(managed->valueAt(attribute->index));
}

std::optional<std::vector<ObjectRef>> ManagedObjectDestination::relatedObjects(
    ObjectRef target, std::string_view relationship, bool& toMany) const {
  const ManagedObject* managed = object(target);
  const RelationshipDescription* description = managed->entity().relationshipNamed(relationship);
  if (!description) return std::nullopt;
  toMany = description->toMany;
  std::vector<ObjectRef> out;
  if (toMany) {
    for (ManagedObject* member : managed->toManyAt(description->index)) out.push_back(ref(member));
  } else if (ManagedObject* related = managed->toOneAt(description->index)) {
    out.push_back(ref(related));
  }
  return out;
}

}  // namespace dm
