// The store model: entities with their attributes and relationships, loaded from the JSON
// model files that the build embeds (see docs/models.md for the format).
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Platform/ObjectStore/StoreError.h"
#include "Platform/ObjectStore/Value.h"

namespace dm {

class EntityDescription;

struct AttributeDescription {
  std::string name;
  AttributeType type = AttributeType::String;
  bool optional = true;
  bool indexed = false;
  Value defaultValue;  // null when the model gives none
  // Position in the entity's flattened attribute list; equal in every sub-entity.
  std::size_t index = 0;
};

enum class DeleteRule { Nullify, Cascade };

struct RelationshipDescription {
  std::string name;
  std::string destinationName;
  std::string inverseName;  // empty: no inverse
  bool toMany = false;
  // To-many only: members keep the order they were added in across save and reload.
  bool ordered = false;
  bool optional = true;
  DeleteRule deleteRule = DeleteRule::Nullify;
  std::size_t index = 0;  // position in the flattened relationship list
  // Resolved once the whole model is read; owned by the model.
  const EntityDescription* destination = nullptr;
  const RelationshipDescription* inverse = nullptr;
  // Many-to-many and inverse-less to-many relationships keep their pairs in this table;
  // empty when the pairs live in a foreign-key column.
  std::string joinTable;
  bool joinSourceIsFirst = true;  // which join-table column holds this side's key
};

// One entity. Attributes and relationships are flattened: a sub-entity lists its parent's
// first, at the same positions, so an index read from a base entity works on every kind.
// Immutable after the model is built; safe to share between threads.
class EntityDescription {
 public:
  const std::string& name() const { return name_; }
  const std::string& className() const { return className_; }
  bool isAbstract() const { return abstract_; }
  const EntityDescription* parent() const { return parent_; }
  // False for an abstract entity declared "tablePerSubentity": it has no table; each of its
  // subentities holds its rows in a table of its own (or in a table of a nearer ancestor).
  bool hasTable() const { return !tablePerSubentity_; }
  // The entity whose table holds this entity's rows (itself for a table's root); nullptr
  // for an entity without a table.
  const EntityDescription* rootEntity() const { return root_; }
  // The entities whose tables hold this entity's rows: its table root when it has a table,
  // else the table roots among its descendants.
  const std::vector<const EntityDescription*>& tableRoots() const { return tableRoots_; }
  // The topmost ancestor: the key space. Row keys are unique across every table under it,
  // so a key names one row wherever in the hierarchy it is stored.
  const EntityDescription* keySpace() const { return keySpace_; }
  // Direct sub-entities.
  const std::vector<const EntityDescription*>& subentities() const { return subentities_; }
  // This entity and every entity below it.
  const std::vector<const EntityDescription*>& selfAndDescendants() const { return family_; }
  bool isKindOf(const EntityDescription* other) const;

  const std::vector<AttributeDescription>& attributes() const { return attributes_; }
  const std::vector<RelationshipDescription>& relationships() const { return relationships_; }
  // Lookups by name; nullptr when the entity has no such property.
  const AttributeDescription* attributeNamed(std::string_view name) const;
  const RelationshipDescription* relationshipNamed(std::string_view name) const;
  // Attribute position for the index-based fast path, or -1.
  int attributeIndex(std::string_view name) const;
  // Extra indexes declared by the model (each a list of attribute names).
  const std::vector<std::vector<std::string>>& compoundIndexes() const { return indexes_; }
  // The SQL table that holds this entity's rows (its table root's name). Only for an
  // entity that has a table.
  const std::string& tableName() const { return root_->name_; }

 private:
  friend class ManagedObjectModel;
  std::string name_, className_, parentName_;
  bool abstract_ = false;
  bool tablePerSubentity_ = false;
  const EntityDescription* parent_ = nullptr;
  const EntityDescription* root_ = this;
  const EntityDescription* keySpace_ = this;
  std::vector<const EntityDescription*> subentities_, family_, tableRoots_;
  std::vector<AttributeDescription> attributes_;
  std::vector<RelationshipDescription> relationships_;
  std::vector<std::vector<std::string>> indexes_;
  std::unordered_map<std::string, std::size_t> attributeByName_, relationshipByName_;
};

// A whole model. Immutable once built; share it by std::shared_ptr between stores and
// threads.
class ManagedObjectModel {
 public:
  // Builds a model from its JSON text. Throws StoreError(InvalidModel) naming the problem
  // (malformed JSON, unknown type, missing parent or destination, bad inverse, ...).
  static std::shared_ptr<const ManagedObjectModel> fromJson(std::string_view text);
  // The model embedded as "Models/<name>.json". A missing or malformed embedded model is a
  // build defect: it is logged and the process aborts. Cached per name; any thread.
  static std::shared_ptr<const ManagedObjectModel> named(const std::string& name);

  const std::string& name() const { return name_; }
  // Hex digest of the model's canonical text; stored in the file to notice model changes.
  const std::string& hash() const { return hash_; }
  const std::string& canonicalJson() const { return canonical_; }
  // Entities in model order, parents before children.
  const std::vector<const EntityDescription*>& entities() const { return order_; }
  // The entity, or nullptr.
  const EntityDescription* entityNamed(std::string_view name) const;
  // The entity whose record class has this name, or nullptr.
  const EntityDescription* entityForClassName(std::string_view className) const;

 private:
  std::string name_, hash_, canonical_;
  std::vector<std::unique_ptr<EntityDescription>> entities_;
  std::vector<const EntityDescription*> order_;
  std::unordered_map<std::string, const EntityDescription*> byName_, byClass_;
};

// Parses a type name of the model format ("integer64", "string", ...).
std::optional<AttributeType> attributeTypeFromName(std::string_view name);
std::string_view attributeTypeName(AttributeType type);

}  // namespace dm
