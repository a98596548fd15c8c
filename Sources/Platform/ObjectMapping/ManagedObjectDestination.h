// The mapping destination (and request source) backed by a context of the object store:
// mapped records become ManagedObjects of the context's entities.
#pragma once

#include <cstddef>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "Platform/ObjectMapping/MappingDestination.h"
#include "Platform/ObjectMapping/MappingSource.h"
#include "Platform/ObjectStore/ManagedObjectClasses.h"
#include "Platform/ObjectStore/ManagedObjectContext.h"

namespace dm {

// Classes are the context model's entities, looked up by entity name or by record class
// name; fields are attribute and relationship indexes. A field for which the record class (or
// a class of a parent entity) registered a RecordSetter is set through it: a stored attribute
// keeps its rules, a field the record does not store reads as null and is only ever set. Identity
// lookups are one fetch per entity and identification (an IN query on the first identification
// attribute, the rest compared in memory), and they see the context's unsaved inserts; an entity
// without any record is not queried at all. Writes that would not change a value are skipped, so
// mapping an unchanged payload leaves objects unchanged.
//
// The destination does not save: the caller saves the context after a successful
// operation. If a write fails part-way, discardChanges() deletes the objects this
// destination created and restores the values and relationships it overwrote, so the
// context is as before the operation.
//
// Threads: only on the context's queue (inside its perform/performAndWait). The context
// must outlive the destination; ManagedObjects handed out belong to the context.
class ManagedObjectDestination final : public MappingDestination, public MappingSource {
 public:
  explicit ManagedObjectDestination(ManagedObjectContext& context);

  ManagedObjectContext& context() const { return context_; }

  // Conversions between engine handles and store objects. Never fail; a null ref maps to
  // nullptr and back.
  static ManagedObject* object(ObjectRef ref) { return static_cast<ManagedObject*>(ref.handle); }
  static ObjectRef ref(ManagedObject* object) { return ObjectRef{object}; }
  // The store objects of an operation's result, in order.
  static std::vector<ManagedObject*> objects(const std::vector<ObjectRef>& refs);

  // Forgets the undo log of earlier operations (call after a successful operation when the
  // destination is reused, so a later failure only rolls back that later operation).
  void commitChanges() {
    undo_.clear();
    created_.clear();
    createdSet_.clear();
    lastChecked_ = nullptr;
  }

  // MappingDestination
  std::optional<ClassId> resolveClass(std::string_view name) override;
  std::optional<DestinationAttribute> describeAttribute(ClassId cls,
                                                        std::string_view name) override;
  std::optional<DestinationRelationship> describeRelationship(ClassId cls,
                                                              std::string_view name) override;
  bool hasObjects(ClassId cls) override;
  void findObjects(ClassId cls, const std::vector<FieldId>& fields, const IdentityKeyTable& keys,
                   Matches matches,
                   const std::function<void(std::size_t, ObjectRef)>& found) override;
  ObjectRef createObject(ClassId cls) override;
  Value value(ObjectRef object, FieldId field) override;
  void setValue(ObjectRef object, FieldId field, Value value) override;
  // Structured attributes (dictionaries and lists) only: archives the tree. Throws
  // std::invalid_argument when the archive refuses it.
  void setTree(ObjectRef object, FieldId field, nlohmann::json tree) override;
  void setToOne(ObjectRef object, FieldId relationship, ObjectRef target) override;
  void setToMany(ObjectRef object, FieldId relationship, std::vector<ObjectRef> targets) override;
  void discardChanges() override;

  // MappingSource
  bool isKindOfClass(ObjectRef object, std::string_view className) const override;
  std::optional<SourceValue> fieldValue(ObjectRef object, std::string_view field) const override;
  std::optional<std::vector<ObjectRef>> relatedObjects(ObjectRef object,
                                                       std::string_view relationship,
                                                       bool& toMany) const override;

 private:
  struct UndoEntry {
    // AllValues: every attribute, before a record setter that may touch any of them.
    enum class Kind { Value, ToOne, ToMany, AllValues } kind = Kind::Value;
    ManagedObject* object = nullptr;
    std::size_t index = 0;
    Value value{};
    ManagedObject* target = nullptr;
    std::vector<ManagedObject*> members{};
    std::vector<Value> values{};
  };
  // Fields of records that are not stored: field ids from kUnstoredField up.
  static constexpr FieldId kUnstoredField = 0x80000000u;

  const EntityDescription& entity(ClassId cls) const;
  // True when `object` was created by this destination since the last commit: deleting it
  // undoes its writes, so they need no undo entries.
  bool createdHere(ManagedObject* object);
  // The setter of `name` declared for the entity's class or a parent entity's class.
  static const RecordSetter* declaredSetter(const EntityDescription& entity, std::string_view name);
  // The setter an attribute of the object goes through, or nullptr.
  const RecordSetter* attributeSetter(const ManagedObject& object, FieldId field);
  void applySetter(ManagedObject* object, const RecordSetter& setter, const Value& value);

  ManagedObjectContext& context_;
  std::vector<const EntityDescription*> entities_;
  // Overwritten values and relationships, oldest first. Objects created here need none:
  // deleting them undoes their writes.
  std::vector<UndoEntry> undo_;
  std::vector<ManagedObject*> created_;  // in creation order
  std::unordered_set<ManagedObject*> createdSet_;
  // Writes come record by record, so the last answer of createdHere() is usually reused.
  ManagedObject* lastChecked_ = nullptr;
  bool lastCreated_ = false;
  // Record setters met while describing fields; none on the common path.
  std::vector<const RecordSetter*> unstored_;  // by field id - kUnstoredField
  bool routesAttributes_ = false;
  std::unordered_map<const EntityDescription*, std::vector<const RecordSetter*>> routed_;
};

}  // namespace dm
