// A mapping destination and source that keeps plain objects in memory: the target for
// transient records and the reference destination of the engine's tests.
#pragma once

#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Platform/ObjectMapping/MappingDestination.h"
#include "Platform/ObjectMapping/MappingSource.h"

namespace dm {

// Classes are registered up front with their fields; objects live until the destination is
// destroyed. Not thread-safe: one thread at a time uses an instance.
class InMemoryDestination final : public MappingDestination, public MappingSource {
 public:
  struct AttributeSpec {
    std::string name;
    FieldKind kind;
  };
  struct RelationshipSpec {
    std::string name;
    std::string destinationClass;
    bool toMany = false;
  };
  struct ClassSpec {
    std::string name;
    std::vector<AttributeSpec> attributes;
    std::vector<RelationshipSpec> relationships;
    std::string superclass{};  // empty for none; its fields are inherited
  };

  InMemoryDestination();
  ~InMemoryDestination() override;
  InMemoryDestination(const InMemoryDestination&) = delete;
  InMemoryDestination& operator=(const InMemoryDestination&) = delete;

  // Registers a class. Throws std::invalid_argument for a duplicate name or unknown
  // superclass.
  void registerClass(ClassSpec spec);

  // Creates an object outside any mapping (test setup, records built by the app).
  // Throws std::invalid_argument for an unknown class.
  ObjectRef insert(std::string_view className);
  // The objects of a class (not its subclasses) in creation order.
  std::vector<ObjectRef> objects(std::string_view className) const;
  std::size_t count(std::string_view className) const { return objects(className).size(); }
  std::string className(ObjectRef object) const;

  // Field access by name; throw std::invalid_argument for an unknown field.
  Value get(ObjectRef object, std::string_view field) const;
  nlohmann::json tree(ObjectRef object, std::string_view field) const;
  void set(ObjectRef object, std::string_view field, Value value);
  ObjectRef toOne(ObjectRef object, std::string_view relationship) const;
  std::vector<ObjectRef> toMany(ObjectRef object, std::string_view relationship) const;
  void link(ObjectRef object, std::string_view relationship, std::vector<ObjectRef> targets);

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
  void setTree(ObjectRef object, FieldId field, nlohmann::json tree) override;
  void setToOne(ObjectRef object, FieldId relationship, ObjectRef target) override;
  void setToMany(ObjectRef object, FieldId relationship, std::vector<ObjectRef> targets) override;

  // MappingSource
  bool isKindOfClass(ObjectRef object, std::string_view className) const override;
  std::optional<SourceValue> fieldValue(ObjectRef object, std::string_view field) const override;
  std::optional<std::vector<ObjectRef>> relatedObjects(ObjectRef object,
                                                       std::string_view relationship,
                                                       bool& toMany) const override;

 private:
  struct ClassInfo;
  struct Object;
  const ClassInfo& classOf(std::string_view name) const;
  static Object& object(ObjectRef ref);
  static FieldId attributeIndex(const ClassInfo& cls, std::string_view field);
  static FieldId relationshipIndex(const ClassInfo& cls, std::string_view field);

  std::vector<std::unique_ptr<ClassInfo>> classes_;
  std::unordered_map<std::string, ClassId> classIds_;
};

}  // namespace dm
