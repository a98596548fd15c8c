// The interface through which the mapping operation reads and writes records, so that plain
// objects and stored entities can both be mapping targets.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "Platform/ObjectMapping/IdentityKeyTable.h"
#include "Platform/ObjectMapping/ValueTransformer.h"
#include "Platform/ObjectStore/Value.h"

namespace dm {

// A record of a destination or source, as an opaque handle the destination hands out. It
// stays valid as long as the destination keeps the record (for a store: the context).
struct ObjectRef {
  void* handle = nullptr;
  explicit operator bool() const { return handle != nullptr; }
  friend bool operator==(ObjectRef a, ObjectRef b) { return a.handle == b.handle; }
};

// Destination-defined numbers for classes and fields, valid for the destination's lifetime.
using ClassId = std::uint32_t;
using FieldId = std::uint32_t;

struct DestinationAttribute {
  FieldId id = 0;
  FieldKind kind = FieldKind::String;
};

struct DestinationRelationship {
  FieldId id = 0;
  bool toMany = false;
  std::string destinationClass;
};

// The values of a record's identification attributes, in their declared order.
using IdentityKey = std::vector<Value>;

// Hash and equality of identity keys, consistent with Value's equality (numbers by numeric
// value whatever their kind, texts byte-wise).
struct IdentityKeyHash {
  std::size_t operator()(const IdentityKey& key) const;
  static std::size_t hashValue(const Value& value);
};
struct IdentityKeyEqual {
  bool operator()(const IdentityKey& a, const IdentityKey& b) const;
};

// Implementations are used by one mapping operation at a time, on the thread that runs the
// operation; whether several operations may share one destination is the implementation's
// to say. The operation resolves classes and fields once, then only uses the ids.
// Methods that write may throw; the operation then calls discardChanges() and reports a
// MappingError.
class MappingDestination {
 public:
  virtual ~MappingDestination() = default;

  // The class (plain objects) or entity (stores) of that name; nullopt when unknown.
  virtual std::optional<ClassId> resolveClass(std::string_view name) = 0;
  // A field of the class; nullopt when the class has no attribute of that name.
  virtual std::optional<DestinationAttribute> describeAttribute(ClassId cls,
                                                                std::string_view name) = 0;
  // A relationship of the class; nullopt when it has none of that name.
  virtual std::optional<DestinationRelationship> describeRelationship(ClassId cls,
                                                                      std::string_view name) = 0;

  // Whether any record of `cls` (or of a subclass) exists, saved or not. Only a false answer
  // lets the operation skip identity lookups, so the default (true) is always correct.
  virtual bool hasObjects(ClassId cls);

  // Which existing records a batched lookup reports per key.
  enum class Matches { First, All };
  // One batched lookup: calls `found(n, object)` for the existing records of `cls` whose
  // `fields` equal key number n of `keys` (a table as wide as `fields`; each key once). With
  // Matches::All every such record is reported, in no particular order; with Matches::First
  // at most one per key. Records created earlier through this destination must be found too.
  virtual void findObjects(ClassId cls, const std::vector<FieldId>& fields,
                           const IdentityKeyTable& keys, Matches matches,
                           const std::function<void(std::size_t, ObjectRef)>& found) = 0;
  // A new empty record of the class, owned by the destination.
  virtual ObjectRef createObject(ClassId cls) = 0;

  // The current value of an attribute (null when unset).
  virtual Value value(ObjectRef object, FieldId field) = 0;
  // Sets an attribute; a null value clears it.
  virtual void setValue(ObjectRef object, FieldId field, Value value) = 0;
  // Sets an attribute of kind Tree. The default refuses (throws std::logic_error).
  virtual void setTree(ObjectRef object, FieldId field, nlohmann::json tree);
  // Sets a to-one relationship; a null ref clears it.
  virtual void setToOne(ObjectRef object, FieldId relationship, ObjectRef target) = 0;
  // Replaces the members of a to-many relationship.
  virtual void setToMany(ObjectRef object, FieldId relationship,
                         std::vector<ObjectRef> targets) = 0;

  // Undoes what this operation wrote, after a write failed part-way. The default does
  // nothing (destinations whose writes cannot fail).
  virtual void discardChanges() {}
};

}  // namespace dm
