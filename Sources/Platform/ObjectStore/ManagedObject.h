// A stored object: the values of one row, owned by the context that holds it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/ObjectStore/ManagedObjectModel.h"
#include "Platform/ObjectStore/ObjectID.h"
#include "Platform/ObjectStore/Predicate.h"
#include "Platform/ObjectStore/ToManySet.h"

namespace dm {

class ManagedObjectContext;

// Ownership: the context that created or fetched an object owns it. A ManagedObject* stays
// valid until the object has been deleted and that deletion saved (or merged in), the
// context is reset, or the context is destroyed. Record classes derive from this class
// (generated accessor bases, then hand-written behaviour) and must be default-constructible.
//
// Threads: only on the owning context's queue (inside its perform/performAndWait blocks).
// Accessors take the context's lock, so parent contexts may read child-pushed state safely.
//
// Attribute values are kept by attribute index (see EntityDescription::attributes()). The
// key-based accessors look the index up; hot code should look it up once and use the
// index-based ones.
class ManagedObject {
 public:
  ManagedObject() = default;
  virtual ~ManagedObject() = default;
  ManagedObject(const ManagedObject&) = delete;
  ManagedObject& operator=(const ManagedObject&) = delete;

  const EntityDescription& entity() const { return *entity_; }
  ObjectID objectID() const;
  // The owning context; never null while the object is valid.
  ManagedObjectContext* managedObjectContext() const { return context_; }

  // A fault holds only its identifier; reading any property loads it.
  bool isFault() const;
  bool isInserted() const;
  bool isDeleted() const;
  bool isUpdated() const;
  bool hasChanges() const;

  // Index-based fast path. An index out of range throws std::out_of_range.
  Value valueAt(std::size_t attributeIndex) const;
  void setValueAt(std::size_t attributeIndex, Value value);

  // By name. An unknown key throws std::invalid_argument naming the entity and the key.
  // valueForKey on a to-one relationship returns the related row's primary key (null when
  // unset or unsaved); use objectForKey for the object.
  Value valueForKey(std::string_view key) const;
  void setValueForKey(std::string_view key, Value value);
  // Dotted path through to-one relationships ("trainingDay.cource.entityID"); null when a
  // relationship on the way is unset. A key the entity lacks or a to-many relationship on
  // the way throws Error InvalidKeyPath.
  Value valueForKeyPath(std::string_view keyPath) const;

  // Relationships. Setting one side updates the inverse side. Objects must belong to the
  // same context (std::invalid_argument otherwise).
  ManagedObject* objectForKey(std::string_view relationship) const;
  void setObjectForKey(std::string_view relationship, ManagedObject* object);
  ManagedObject* toOneAt(std::size_t relationshipIndex) const;
  void setToOneAt(std::size_t relationshipIndex, ManagedObject* object);
  // Members of a to-many relationship, in the order they were added or loaded.
  std::vector<ManagedObject*> objectsForKey(std::string_view relationship) const;
  std::vector<ManagedObject*> toManyAt(std::size_t relationshipIndex) const;
  void addObjectForKey(std::string_view relationship, ManagedObject* object);
  void removeObjectForKey(std::string_view relationship, ManagedObject* object);
  void addToManyAt(std::size_t relationshipIndex, ManagedObject* object);
  void removeFromManyAt(std::size_t relationshipIndex, ManagedObject* object);

  // Names of the properties changed since the last save.
  std::vector<std::string> changedKeys() const;

 protected:
  // Lifecycle hooks, called by the owning context on its queue. Record classes override them
  // and call their base class's version, so every class in between keeps its own handling.
  //
  // Once, right after the object was inserted (its attributes hold the model defaults).
  virtual void awakeFromInsert() {}
  // Each time the object's values were read from the store or a parent context (a fault
  // fulfilled, a fetch, a refresh). Values set here are not changes: they do not make the
  // object or the context dirty and are written only if the object is saved for another
  // reason.
  virtual void awakeFromFetch() {}
  // In every save of the context, for each inserted or changed object that is not deleted,
  // before anything is written; changes made here are saved with it.
  virtual void willSave() {}

 private:
  friend class ManagedObjectContext;
  friend class ObjectGraph;
  friend class PersistentStore;  // writes rows straight from the object at save

  struct ToOne {
    ManagedObject* object = nullptr;
    std::int64_t pendingKey = 0;  // row key still to resolve (0: none)
  };
  using ToMany = ToManySet;
  // Which properties changed since the last save: bit i for attribute i, bit
  // (attributes + j) for relationship j. Inline for up to 64 properties, so the common
  // entity costs no allocation.
  class PropertyMask {
   public:
    bool none() const { return inline_ == 0 && overflow_.empty(); }
    bool test(std::size_t i) const {
      if (i < 64) return inline_ >> i & 1;
      i -= 64;
      return i / 64 < overflow_.size() && (overflow_[i / 64] >> (i % 64) & 1);
    }
    void set(std::size_t i) {
      if (i < 64) {
        inline_ |= std::uint64_t{1} << i;
        return;
      }
      i -= 64;
      if (overflow_.size() <= i / 64) overflow_.resize(i / 64 + 1);
      overflow_[i / 64] |= std::uint64_t{1} << (i % 64);
    }
    void clear() {
      inline_ = 0;
      overflow_.clear();
      overflow_.shrink_to_fit();
    }

   private:
    std::uint64_t inline_ = 0;
    std::vector<std::uint64_t> overflow_;
  };
  enum Flag : std::uint8_t {
    kFault = 1,
    kInserted = 2,
    kDeleted = 4,
    kInChangeList = 8,
    kChanged = 16,
    kPendingNotification = 32,
    kAwakingFromFetch = 64,  // inside awakeFromFetch: sets are not recorded as changes
  };

  void fireFaultLocked() const;
  void markChangedLocked();
  const AttributeDescription& attributeOrThrow(std::string_view key) const;
  const RelationshipDescription& relationshipOrThrow(std::string_view key) const;
  ManagedObject* resolveToOneLocked(std::size_t index) const;
  ToMany& loadToManyLocked(std::size_t index) const;
  // Raw edits used by inverse maintenance: no further inverse updates.
  void rawSetToOne(std::size_t index, ManagedObject* object);
  void rawAddToMany(std::size_t index, ManagedObject* object);
  void rawRemoveFromMany(std::size_t index, ManagedObject* object);
  void setToOneLocked(std::size_t index, ManagedObject* object);
  void addToManyLocked(std::size_t index, ManagedObject* object);
  void removeFromManyLocked(std::size_t index, ManagedObject* object);
  void markAttributeChanged(std::size_t index);
  void markRelationshipChanged(std::size_t index);

  ManagedObjectContext* context_ = nullptr;
  const EntityDescription* entity_ = nullptr;
  ObjectID id_;
  mutable std::uint8_t flags_ = 0;
  mutable std::vector<Value> values_;
  mutable std::vector<ToOne> toOne_;
  mutable std::vector<ToMany> toMany_;
  PropertyMask changed_;
};

// Reads key paths of an object for in-memory predicate evaluation. Same threads as the
// object.
class ManagedObjectValueSource final : public PredicateValueSource {
 public:
  explicit ManagedObjectValueSource(const ManagedObject& object) : object_(object) {}
  Resolved valueForKeyPath(const std::string& keyPath) const override;

 private:
  const ManagedObject& object_;
};

}  // namespace dm
