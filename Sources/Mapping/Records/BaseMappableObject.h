// The base of transient records (request bodies and response objects, never stored): fields
// declared per class, the `serialized` tree sent to the server, copying, value copying and
// keyed archiving.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Mapping/Records/RecordClass.h"
#include "Mapping/Records/RecordValue.h"

namespace dm {

class ManagedObject;

// Scalar fields (numbers, booleans) are never absent: unset they read as 0, like the
// zero-initialised scalars of a fresh object. Object fields (texts, dates, records,
// containers) may be absent.
enum class PropertyKind { Integer, Real, Boolean, Object };

struct PropertyDeclaration {
  std::string name;
  PropertyKind kind = PropertyKind::Object;
  bool isScalar() const { return kind != PropertyKind::Object; }
};

// Declares the class name of a transient record class inside its body:
//   class SetRequest : public BaseUUIDObject { DM_RECORD_OBJECT(SetRequest) ... };
#define DM_RECORD_OBJECT(ClassName)                          \
 public:                                                     \
  static constexpr std::string_view kClassName = #ClassName; \
  std::string_view className() const override {              \
    return kClassName;                                       \
  }                                                          \
                                                             \
 private:

// Records are held by std::shared_ptr (copies share the values they hold, like references).
// An instance is used by one thread at a time; distinct instances are independent.
class BaseMappableObject : public std::enable_shared_from_this<BaseMappableObject> {
 public:
  BaseMappableObject() = default;
  virtual ~BaseMappableObject() = default;
  BaseMappableObject(const BaseMappableObject&) = delete;
  BaseMappableObject& operator=(const BaseMappableObject&) = delete;

  // The record class's name; overridden by DM_RECORD_OBJECT.
  virtual std::string_view className() const { return "BaseMappableObject"; }

  class Class;
  // The registered descriptor of this record's class; nullptr when it is not registered
  // (such a record has no declared fields and maps nothing).
  const Class* recordClass() const;

  // A field's value: the null marker for an absent object field or an undeclared name, 0 for
  // an unset scalar field.
  RecordValue valueForKey(std::string_view name) const;
  // Sets a declared field (the null marker clears it). False, and nothing changes, when the
  // class declares no field of that name.
  bool setValueForKey(std::string_view name, RecordValue value);
  // The declaration of a field (own or inherited); nothing when undeclared.
  std::optional<PropertyDeclaration> propertyNamed(std::string_view name) const;

  // Typed reads for subclasses' accessors.
  std::int64_t integerForKey(std::string_view name) const { return valueForKey(name).asInt64(); }
  double realForKey(std::string_view name) const { return valueForKey(name).asDouble(); }
  bool boolForKey(std::string_view name) const { return valueForKey(name).asBool(); }
  std::string stringForKey(std::string_view name) const { return valueForKey(name).asString(); }
  template <class T>
  std::shared_ptr<T> recordForKey(std::string_view name) const {
    return std::dynamic_pointer_cast<T>(valueForKey(name).asRecord());
  }

  // The field names of the class's attributeMappings (its keys), sorted.
  std::vector<std::string> propertyNames() const;

  // The tree sent to the server: each field of serializationAttributeMappings under its
  // server key, null markers removed at every level, nested records of this class (or a
  // subclass) replaced by their own trees (records of other classes stay records), wrapped
  // under rootKeyPath when the class has one. The caller owns the tree.
  RecordValue serialized() const;

  // For each name of propertyNames that the source declares: copies the source's value (0
  // for an absent value of a scalar source field). Other names are skipped. Returns *this.
  BaseMappableObject& copyValuesFromObject(const BaseMappableObject& source);
  // The same from a stored record: its attributes of those names (0 for an absent numeric
  // attribute). Use on the record's context queue.
  BaseMappableObject& copyValuesFromObject(const ManagedObject& source);

  // A new instance of this record's class whose propertyNames fields hold this record's
  // values (shared, not copied); nullptr (and a log line) when the class is not registered.
  std::shared_ptr<BaseMappableObject> copy() const;

  // The keyed archive of the propertyNames fields (see KeyedArchive); nothing when a value
  // cannot be archived. The caller owns the bytes.
  std::optional<std::vector<std::uint8_t>> archivedData() const;
  // A record read back from archivedData: a new instance of the archived class whose
  // propertyNames fields hold the decoded values. nullptr for bytes that are not such an
  // archive or name an unregistered class. Never throws.
  static std::shared_ptr<BaseMappableObject> unarchivedObject(std::span<const std::uint8_t> bytes);

  // Class operations of transient records.
  class Class : public RecordClass {
   public:
    using Factory = std::function<std::shared_ptr<BaseMappableObject>()>;
    using RecordClass::RecordClass;
    bool isEntityClass() const final { return false; }

    // The fields this class itself declares, in declaration order (inherited ones excluded).
    virtual std::vector<PropertyDeclaration> declaredProperties() const { return {}; }
    // Every field: the superclass's first, then this class's own. Computed once.
    const std::vector<PropertyDeclaration>& allProperties() const;
    std::optional<PropertyDeclaration> propertyNamed(std::string_view name) const;

    // The class's own declared fields, each mapped to itself. Cached per class.
    virtual MappingDictionary autoGeneratedAttributeMappings() const;

    // A new instance made with the plain initialiser; nullptr without a factory.
    std::shared_ptr<BaseMappableObject> newInstance() const {
      return factory_ ? factory_() : nullptr;
    }
    // Set by the registration before the descriptor is registered.
    void setFactory(Factory factory) { factory_ = std::move(factory); }

   private:
    Factory factory_;
    mutable std::once_flag propertiesOnce_;
    mutable std::vector<PropertyDeclaration> properties_;
  };

 protected:
  // A class's rule for reading a field it declares (an e-mail read normalised): every read,
  // and so every serialisation, goes through it; the stored value stays as it was set.
  virtual RecordValue readValue(std::string_view name, RecordValue stored) const {
    (void)name;
    return stored;
  }

 private:
  RecordValue rawValue(std::string_view name) const;
  RecordValue serializedTree(int depth) const;

  std::map<std::string, RecordValue, std::less<>> values_;
};

// Registers a transient record class: its descriptor (T::Class unless given) under
// `className` with `superclassName`, making instances of T.
// `const ObjectClassRegistration<SetRequest> r("SetRequest", "BaseUUIDObject");`
template <class T, class Descriptor = typename T::Class>
struct ObjectClassRegistration {
  ObjectClassRegistration(const char* className, const char* superclassName) {
    auto descriptor = std::make_unique<Descriptor>(className, superclassName);
    descriptor->setFactory(
        [] { return std::shared_ptr<BaseMappableObject>(std::make_shared<T>()); });
    RecordClasses::registerClass(std::move(descriptor));
  }
};

}  // namespace dm
