// Stored objects: attribute values by index, relationships with inverse maintenance, faults.
#include "Platform/ObjectStore/ManagedObject.h"

#include <algorithm>
#include <stdexcept>

#include "Platform/Foundation/Error.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"

namespace dm {

namespace {
using Lock = std::lock_guard<std::recursive_mutex>;

template <typename F>
void forEachKey(std::string_view path, F&& f) {
  std::size_t start = 0;
  while (true) {
    std::size_t dot = path.find('.', start);
    bool last = dot == std::string_view::npos;
    f(path.substr(start, last ? std::string_view::npos : dot - start), last);
    if (last) return;
    start = dot + 1;
  }
}
}  // namespace

ObjectID ManagedObject::objectID() const {
  Lock lock(context_->stateMutex());
  return id_;
}

bool ManagedObject::isFault() const {
  Lock lock(context_->stateMutex());
  return flags_ & kFault;
}
bool ManagedObject::isInserted() const {
  Lock lock(context_->stateMutex());
  return (flags_ & kInserted) && !(flags_ & kDeleted);
}
bool ManagedObject::isDeleted() const {
  Lock lock(context_->stateMutex());
  return flags_ & kDeleted;
}
bool ManagedObject::isUpdated() const {
  Lock lock(context_->stateMutex());
  return (flags_ & kChanged) && !(flags_ & (kInserted | kDeleted));
}
bool ManagedObject::hasChanges() const {
  Lock lock(context_->stateMutex());
  return flags_ & (kChanged | kInserted | kDeleted);
}

void ManagedObject::fireFaultLocked() const {
  if (flags_ & kFault) context_->fulfillFaultLocked(const_cast<ManagedObject*>(this));
}

const AttributeDescription& ManagedObject::attributeOrThrow(std::string_view key) const {
  const auto* attr = entity_->attributeNamed(key);
  if (!attr)
    throw std::invalid_argument("Entity " + entity_->name() + " has no attribute \"" +
                                std::string(key) + "\"");
  return *attr;
}

const RelationshipDescription& ManagedObject::relationshipOrThrow(std::string_view key) const {
  const auto* rel = entity_->relationshipNamed(key);
  if (!rel)
    throw std::invalid_argument("Entity " + entity_->name() + " has no relationship \"" +
                                std::string(key) + "\"");
  return *rel;
}

Value ManagedObject::valueAt(std::size_t index) const {
  Lock lock(context_->stateMutex());
  fireFaultLocked();
  return values_.at(index);
}

static bool sameValue(const Value& a, const Value& b) {
  const Value::Storage& x = a.storage();
  const Value::Storage& y = b.storage();
  if (x.index() != y.index()) return false;
  // Records set dozens of numbers and texts each: those compare directly, with the rule of
  // Value's equality for doubles (equal unless ordered apart), without its cross-type rules.
  if (const double* d = std::get_if<double>(&x)) {
    const double e = *std::get_if<double>(&y);
    return !(*d < e) && !(*d > e);
  }
  if (const std::string* s = std::get_if<std::string>(&x))
    return *s == *std::get_if<std::string>(&y);
  return a == b;
}

void ManagedObject::setValueAt(std::size_t index, Value value) {
  Lock lock(context_->stateMutex());
  fireFaultLocked();
  Value& slot = values_.at(index);
  if (sameValue(slot, value)) return;
  slot = std::move(value);
  if (flags_ & kAwakingFromFetch) {
    // Not a change (the object stays clean), but a save that writes the object for another
    // reason, which writes only changed columns, writes this one too.
    changed_.set(index);
    return;
  }
  markAttributeChanged(index);
}

void ManagedObject::markAttributeChanged(std::size_t index) {
  changed_.set(index);
  markChangedLocked();
}

void ManagedObject::markRelationshipChanged(std::size_t index) {
  changed_.set(entity_->attributes().size() + index);
  markChangedLocked();
}

void ManagedObject::markChangedLocked() {
  flags_ |= kChanged;
  context_->noteChangedLocked(this);
}

Value ManagedObject::valueForKey(std::string_view key) const {
  Lock lock(context_->stateMutex());
  if (const auto* attr = entity_->attributeNamed(key)) return valueAt(attr->index);
  const auto& rel = relationshipOrThrow(key);
  if (rel.toMany)
    throw std::invalid_argument("valueForKey on to-many relationship " + std::string(key));
  ManagedObject* target = resolveToOneLocked(rel.index);
  if (!target || target->id_.temporary) return {};
  return Value(target->id_.key);
}

void ManagedObject::setValueForKey(std::string_view key, Value value) {
  setValueAt(attributeOrThrow(key).index, std::move(value));
}

Value ManagedObject::valueForKeyPath(std::string_view keyPath) const {
  Lock lock(context_->stateMutex());
  const ManagedObject* current = this;
  Value result;
  // Key paths come from predicate and sort texts, so a wrong one is outside input.
  auto invalid = [&](const std::string& problem) {
    return Error(ErrorCode::InvalidKeyPath, "Key path " + std::string(keyPath) + ": " + problem);
  };
  forEachKey(keyPath, [&](std::string_view key, bool last) {
    if (!current) return;
    const EntityDescription& entity = *current->entity_;
    if (last && entity.attributeNamed(key)) {
      result = current->valueForKey(key);
      return;
    }
    const auto* rel = entity.relationshipNamed(key);
    if (!rel) throw invalid("entity " + entity.name() + " has no key \"" + std::string(key) + "\"");
    if (rel->toMany) throw invalid("goes through to-many relationship " + std::string(key));
    if (last) {
      result = current->valueForKey(key);
      return;
    }
    current = current->resolveToOneLocked(rel->index);
  });
  return result;
}

ManagedObject* ManagedObject::resolveToOneLocked(std::size_t index) const {
  fireFaultLocked();
  ToOne& slot = toOne_.at(index);
  if (!slot.object && slot.pendingKey) {
    const auto& rel = entity_->relationships()[index];
    slot.object = context_->objectForKeyLocked(*rel.destination, slot.pendingKey);
    slot.pendingKey = 0;
  }
  return slot.object;
}

ManagedObject::ToMany& ManagedObject::loadToManyLocked(std::size_t index) const {
  fireFaultLocked();
  ToMany& slot = toMany_.at(index);
  if (!slot.loaded) {
    slot.assign(context_->loadToManyLocked(const_cast<ManagedObject*>(this),
                                           entity_->relationships()[index]));
    slot.loaded = true;
  }
  return slot;
}

ManagedObject* ManagedObject::objectForKey(std::string_view relationship) const {
  return toOneAt(relationshipOrThrow(relationship).index);
}

ManagedObject* ManagedObject::toOneAt(std::size_t index) const {
  Lock lock(context_->stateMutex());
  if (entity_->relationships().at(index).toMany)
    throw std::invalid_argument("Relationship " + entity_->relationships()[index].name +
                                " is to-many");
  return resolveToOneLocked(index);
}

void ManagedObject::setObjectForKey(std::string_view relationship, ManagedObject* object) {
  setToOneAt(relationshipOrThrow(relationship).index, object);
}

void ManagedObject::setToOneAt(std::size_t index, ManagedObject* object) {
  Lock lock(context_->stateMutex());
  const auto& rel = entity_->relationships().at(index);
  if (rel.toMany) throw std::invalid_argument("Relationship " + rel.name + " is to-many");
  if (object && object->context_ != context_)
    throw std::invalid_argument("Objects of different contexts cannot be related");
  if (object && !object->entity_->isKindOf(rel.destination))
    throw std::invalid_argument("Relationship " + rel.name + " takes " + rel.destination->name() +
                                ", not " + object->entity_->name());
  setToOneLocked(index, object);
}

std::vector<ManagedObject*> ManagedObject::objectsForKey(std::string_view relationship) const {
  return toManyAt(relationshipOrThrow(relationship).index);
}

std::vector<ManagedObject*> ManagedObject::toManyAt(std::size_t index) const {
  Lock lock(context_->stateMutex());
  if (!entity_->relationships().at(index).toMany)
    throw std::invalid_argument("Relationship " + entity_->relationships()[index].name +
                                " is to-one");
  return loadToManyLocked(index).members();
}

void ManagedObject::addObjectForKey(std::string_view relationship, ManagedObject* object) {
  addToManyAt(relationshipOrThrow(relationship).index, object);
}
void ManagedObject::removeObjectForKey(std::string_view relationship, ManagedObject* object) {
  removeFromManyAt(relationshipOrThrow(relationship).index, object);
}

void ManagedObject::addToManyAt(std::size_t index, ManagedObject* object) {
  Lock lock(context_->stateMutex());
  const auto& rel = entity_->relationships().at(index);
  if (!rel.toMany) throw std::invalid_argument("Relationship " + rel.name + " is to-one");
  if (!object || object->context_ != context_)
    throw std::invalid_argument("Objects of different contexts cannot be related");
  if (!object->entity_->isKindOf(rel.destination))
    throw std::invalid_argument("Relationship " + rel.name + " takes " + rel.destination->name());
  addToManyLocked(index, object);
}

void ManagedObject::removeFromManyAt(std::size_t index, ManagedObject* object) {
  Lock lock(context_->stateMutex());
  const auto& rel = entity_->relationships().at(index);
  if (!rel.toMany) throw std::invalid_argument("Relationship " + rel.name + " is to-one");
  if (object) removeFromManyLocked(index, object);
}

void ManagedObject::rawSetToOne(std::size_t index, ManagedObject* object) {
  fireFaultLocked();
  toOne_[index] = ToOne{object, 0};
  markRelationshipChanged(index);
}

void ManagedObject::rawAddToMany(std::size_t index, ManagedObject* object) {
  auto& slot = loadToManyLocked(index);
  slot.add(object);
  markRelationshipChanged(index);
}

void ManagedObject::rawRemoveFromMany(std::size_t index, ManagedObject* object) {
  auto& slot = loadToManyLocked(index);
  if (!slot.remove(object)) return;
  markRelationshipChanged(index);
}

void ManagedObject::setToOneLocked(std::size_t index, ManagedObject* object) {
  const auto& rel = entity_->relationships()[index];
  ManagedObject* old = resolveToOneLocked(index);
  if (old == object) return;
  if (const auto* inverse = rel.inverse) {
    if (old) {
      if (inverse->toMany)
        old->rawRemoveFromMany(inverse->index, this);
      else
        old->rawSetToOne(inverse->index, nullptr);
    }
    if (object) {
      if (inverse->toMany) {
        object->rawAddToMany(inverse->index, this);
      } else {
        ManagedObject* previous = object->resolveToOneLocked(inverse->index);
        if (previous && previous != this) previous->rawSetToOne(index, nullptr);
        object->rawSetToOne(inverse->index, this);
      }
    }
  }
  rawSetToOne(index, object);
}

void ManagedObject::addToManyLocked(std::size_t index, ManagedObject* object) {
  const auto& rel = entity_->relationships()[index];
  if (const auto* inverse = rel.inverse; inverse && !inverse->toMany) {
    object->setToOneLocked(inverse->index, this);  // also leaves the previous owner
    return;
  } else if (inverse) {
    object->rawAddToMany(inverse->index, this);
  }
  rawAddToMany(index, object);
}

void ManagedObject::removeFromManyLocked(std::size_t index, ManagedObject* object) {
  const auto& rel = entity_->relationships()[index];
  if (const auto* inverse = rel.inverse; inverse && !inverse->toMany) {
    if (object->resolveToOneLocked(inverse->index) == this)
      object->setToOneLocked(inverse->index, nullptr);
    return;
  } else if (inverse) {
    object->rawRemoveFromMany(inverse->index, this);
  }
  rawRemoveFromMany(index, object);
}

std::vector<std::string> ManagedObject::changedKeys() const {
  Lock lock(context_->stateMutex());
  std::vector<std::string> keys;
  if (!(flags_ & (kChanged | kInserted))) return keys;  // values set on waking are no changes
  const auto& attributes = entity_->attributes();
  const std::size_t count = attributes.size() + entity_->relationships().size();
  for (std::size_t i = 0; i < count; ++i) {
    if (!changed_.test(i)) continue;
    keys.push_back(i < attributes.size() ? attributes[i].name
                                         : entity_->relationships()[i - attributes.size()].name);
  }
  return keys;
}

PredicateValueSource::Resolved ManagedObjectValueSource::valueForKeyPath(
    const std::string& keyPath) const {
  Lock lock(object_.managedObjectContext()->stateMutex());
  const ManagedObject* current = &object_;
  Resolved result;
  forEachKey(keyPath, [&](std::string_view key, bool last) {
    if (!current) return;
    if (const auto* attr = current->entity().attributeNamed(key)) {
      if (!last)
        throw PredicateError("Key path " + keyPath + " continues past attribute " +
                             std::string(key));
      result.value = current->valueAt(attr->index);
      return;
    }
    if (key == "self" && last) {
      result.object = current;
      return;
    }
    const auto* rel = current->entity().relationshipNamed(key);
    if (!rel)
      throw PredicateError("Unknown key \"" + std::string(key) + "\" in " + keyPath + " (entity " +
                           current->entity().name() + ")");
    if (rel->toMany)
      throw PredicateError("Key path " + keyPath + " goes through to-many relationship " +
                           std::string(key));
    const ManagedObject* next = current->toOneAt(rel->index);
    if (last) {
      result.object = next;
      if (next) {
        ObjectID id = next->objectID();
        if (!id.temporary) result.value = Value(id.key);
      }
      return;
    }
    current = next;
  });
  return result;
}

}  // namespace dm
