// Transient records: declared fields, serialisation, copying and archiving.
#include "Mapping/Records/BaseMappableObject.h"

#include <algorithm>

#include "Mapping/Records/RecordClassCaches.h"
#include "Platform/Foundation/KeyedArchive.h"
#include "Platform/Foundation/Logger.h"
#include "Platform/ObjectStore/ManagedObject.h"

namespace dm {
namespace {

// Records that hold themselves (directly or through others) would nest without end.
constexpr int kMaximumSerializationDepth = 64;
constexpr int kMaximumInheritanceDepth = 64;

RecordValue zeroFor(PropertyKind kind) {
  switch (kind) {
    case PropertyKind::Integer:
      return 0;
    case PropertyKind::Real:
      return 0.0;
    case PropertyKind::Boolean:
      return false;
    case PropertyKind::Object:
      break;
  }
  return {};
}

// Null markers dropped from dictionaries and arrays, at every level.
RecordValue removingNulls(const RecordValue& value) {
  if (value.isDictionary()) {
    RecordValue::Dictionary out;
    for (const auto& [key, element] : value.asDictionary()) {
      if (!element.isNull()) out.emplace(key, removingNulls(element));
    }
    return out;
  }
  if (value.isArray()) {
    RecordValue::Array out;
    for (const auto& element : value.asArray()) {
      if (!element.isNull()) out.push_back(removingNulls(element));
    }
    return out;
  }
  return value;
}

// --- Archive encoding: the keyed archive holds JSON kinds only, so dates and records are
// wrapped in marker dictionaries; plain dictionaries that could be mistaken for one are
// wrapped too.
constexpr const char* kClassMarker = "$class";
constexpr const char* kValuesMarker = "$values";
constexpr const char* kDateMarker = "$date";
constexpr const char* kDictionaryMarker = "$dictionary";

nlohmann::json encodeRecord(const BaseMappableObject& record);

nlohmann::json encodeValue(const RecordValue& value) {
  struct Encoder {
    nlohmann::json operator()(std::monostate) const { return nullptr; }
    nlohmann::json operator()(bool v) const { return v; }
    nlohmann::json operator()(std::int64_t v) const { return v; }
    nlohmann::json operator()(double v) const { return v; }
    nlohmann::json operator()(const std::string& v) const { return v; }
    nlohmann::json operator()(Date v) const { return {{kDateMarker, v.timeIntervalSince1970}}; }
    nlohmann::json operator()(const RecordValue::Record& v) const { return encodeRecord(*v); }
    nlohmann::json operator()(const RecordValue::Array& v) const {
      nlohmann::json out = nlohmann::json::array();
      for (const auto& element : v) out.push_back(encodeValue(element));
      return out;
    }
    nlohmann::json operator()(const RecordValue::Dictionary& v) const {
      nlohmann::json out = nlohmann::json::object();
      bool ambiguous = false;
      for (const auto& [key, element] : v) {
        if (key == kClassMarker || key == kDateMarker || key == kDictionaryMarker) ambiguous = true;
        out[key] = encodeValue(element);
      }
      if (ambiguous) return {{kDictionaryMarker, std::move(out)}};
      return out;
    }
  };
  return std::visit(Encoder{}, value.storage());
}

nlohmann::json encodeRecord(const BaseMappableObject& record) {
  nlohmann::json values = nlohmann::json::object();
  for (const auto& name : record.propertyNames())
    values[name] = encodeValue(record.valueForKey(name));
  return {{kClassMarker, std::string(record.className())}, {kValuesMarker, std::move(values)}};
}

std::shared_ptr<BaseMappableObject> decodeRecord(const nlohmann::json& json);

std::optional<RecordValue> decodeValue(const nlohmann::json& json) {
  if (json.is_object()) {
    if (json.size() == 1 && json.contains(kDateMarker)) {
      const auto& seconds = json[kDateMarker];
      if (!seconds.is_number()) return std::nullopt;
      return RecordValue(Date(seconds.get<double>()));
    }
    if (json.size() == 1 && json.contains(kDictionaryMarker)) {
      const auto& inner = json[kDictionaryMarker];
      if (!inner.is_object()) return std::nullopt;
      RecordValue::Dictionary out;
      for (auto it = inner.begin(); it != inner.end(); ++it) {
        auto element = decodeValue(*it);
        if (!element) return std::nullopt;
        out.emplace(it.key(), std::move(*element));
      }
      return RecordValue(std::move(out));
    }
    if (json.contains(kClassMarker)) {
      auto record = decodeRecord(json);
      if (!record) return std::nullopt;
      return RecordValue(std::move(record));
    }
    RecordValue::Dictionary out;
    for (auto it = json.begin(); it != json.end(); ++it) {
      auto element = decodeValue(*it);
      if (!element) return std::nullopt;
      out.emplace(it.key(), std::move(*element));
    }
    return RecordValue(std::move(out));
  }
  if (json.is_array()) {
    RecordValue::Array out;
    for (const auto& element : json) {
      auto decoded = decodeValue(element);
      if (!decoded) return std::nullopt;
      out.push_back(std::move(*decoded));
    }
    return RecordValue(std::move(out));
  }
  return RecordValue::fromJson(json);
}

std::shared_ptr<BaseMappableObject> decodeRecord(const nlohmann::json& json) {
  if (!json.is_object() || !json.contains(kClassMarker) || !json[kClassMarker].is_string())
    return nullptr;
  const auto* cls = dynamic_cast<const BaseMappableObject::Class*>(
      RecordClasses::classNamed(json[kClassMarker].get<std::string>()));
  if (!cls) return nullptr;
  auto record = cls->newInstance();
  if (!record) return nullptr;
  auto values = json.contains(kValuesMarker) ? json[kValuesMarker] : nlohmann::json::object();
  if (!values.is_object()) return nullptr;
  for (const auto& name : record->propertyNames()) {
    if (!values.contains(name)) continue;
    auto value = decodeValue(values[name]);
    if (!value) return nullptr;
    record->setValueForKey(name, std::move(*value));
  }
  return record;
}

}  // namespace

const BaseMappableObject::Class* BaseMappableObject::recordClass() const {
  return dynamic_cast<const Class*>(RecordClasses::classNamed(className()));
}

std::optional<PropertyDeclaration> BaseMappableObject::propertyNamed(std::string_view name) const {
  const Class* cls = recordClass();
  return cls ? cls->propertyNamed(name) : std::nullopt;
}

RecordValue BaseMappableObject::rawValue(std::string_view name) const {
  auto it = values_.find(name);
  return it == values_.end() ? RecordValue() : it->second;
}

RecordValue BaseMappableObject::valueForKey(std::string_view name) const {
  auto declaration = propertyNamed(name);
  if (!declaration) return {};
  RecordValue value = readValue(name, rawValue(name));
  if (value.isNull() && declaration->isScalar()) return zeroFor(declaration->kind);
  return value;
}

bool BaseMappableObject::setValueForKey(std::string_view name, RecordValue value) {
  if (!propertyNamed(name)) return false;
  if (value.isNull()) {
    auto it = values_.find(name);
    if (it != values_.end()) values_.erase(it);
  } else {
    values_.insert_or_assign(std::string(name), std::move(value));
  }
  return true;
}

std::vector<std::string> BaseMappableObject::propertyNames() const {
  std::vector<std::string> names;
  if (const Class* cls = recordClass()) {
    for (const auto& [field, key] : cls->attributeMappings()) names.push_back(field);
  }
  return names;
}

RecordValue BaseMappableObject::serialized() const {
  return serializedTree(0);
}

RecordValue BaseMappableObject::serializedTree(int depth) const {
  if (depth >= kMaximumSerializationDepth) {
    logWarning("serialized: records nested deeper than " +
               std::to_string(kMaximumSerializationDepth) + " levels in " +
               std::string(className()) + "; the deeper part is left out");
    return {};
  }
  const Class* cls = recordClass();
  if (!cls) return RecordValue::Dictionary{};
  RecordValue::Dictionary tree;
  for (const auto& [field, serverKey] : cls->serializationAttributeMappings()) {
    tree.insert_or_assign(serverKey, valueForKey(field));
  }
  RecordValue cleaned = removingNulls(RecordValue(std::move(tree)));

  // Only records of this class (or a subclass) are serialised in place.
  const std::string ownClass(className());
  std::function<RecordValue(const RecordValue&)> transform = [&](const RecordValue& value) {
    if (value.isDictionary()) {
      RecordValue::Dictionary out;
      for (const auto& [key, element] : value.asDictionary()) {
        RecordValue replaced = transform(element);
        if (!replaced.isNull()) out.emplace(key, std::move(replaced));
      }
      return RecordValue(std::move(out));
    }
    if (value.isArray()) {
      RecordValue::Array out;
      for (const auto& element : value.asArray()) {
        RecordValue replaced = transform(element);
        if (!replaced.isNull()) out.push_back(std::move(replaced));
      }
      return RecordValue(std::move(out));
    }
    if (value.isRecord()) {
      const auto& record = value.asRecord();
      const Class* nested = record->recordClass();
      bool sameKind =
          nested ? nested->isSubclassOfClass(ownClass) : record->className() == ownClass;
      if (sameKind) return record->serializedTree(depth + 1);
    }
    return value;
  };
  RecordValue result = transform(cleaned);
  if (result.isNull()) return {};
  if (auto root = cls->rootKeyPath()) {
    RecordValue::Dictionary wrapped;
    wrapped.emplace(*root, std::move(result));
    return wrapped;
  }
  return result;
}

BaseMappableObject& BaseMappableObject::copyValuesFromObject(const BaseMappableObject& source) {
  for (const auto& name : propertyNames()) {
    auto declaration = source.propertyNamed(name);
    if (!declaration) continue;
    RecordValue value = source.rawValue(name);
    if (value.isNull() && declaration->isScalar()) value = 0;
    if (!setValueForKey(name, std::move(value))) {
      logWarning("copyValuesFromObject: " + std::string(className()) + " declares no field " +
                 name);
    }
  }
  return *this;
}

BaseMappableObject& BaseMappableObject::copyValuesFromObject(const ManagedObject& source) {
  for (const auto& name : propertyNames()) {
    const AttributeDescription* attribute = source.entity().attributeNamed(name);
    if (!attribute) continue;
    Value stored = source.valueAt(attribute->index);
    RecordValue value = RecordValue::fromValue(stored);
    bool numeric = attribute->type != AttributeType::String && !isStructured(attribute->type) &&
                   attribute->type != AttributeType::Date &&
                   attribute->type != AttributeType::Binary;
    if (stored.isNull() && numeric) value = 0;
    if (!setValueForKey(name, std::move(value))) {
      logWarning("copyValuesFromObject: " + std::string(className()) + " declares no field " +
                 name);
    }
  }
  return *this;
}

std::shared_ptr<BaseMappableObject> BaseMappableObject::copy() const {
  const Class* cls = recordClass();
  auto copy = cls ? cls->newInstance() : nullptr;
  if (!copy) {
    logError("copy: the record class " + std::string(className()) + " is not registered");
    return nullptr;
  }
  for (const auto& name : propertyNames()) copy->setValueForKey(name, rawValue(name));
  return copy;
}

std::optional<std::vector<std::uint8_t>> BaseMappableObject::archivedData() const {
  return KeyedArchive::archivedData(encodeRecord(*this));
}

std::shared_ptr<BaseMappableObject> BaseMappableObject::unarchivedObject(
    std::span<const std::uint8_t> bytes) {
  auto tree = KeyedArchive::unarchivedObject(bytes);
  if (!tree) return nullptr;
  try {
    return decodeRecord(*tree);
  } catch (const std::exception& error) {
    logWarning(std::string("unarchivedObject: ") + error.what());
    return nullptr;
  }
}

const std::vector<PropertyDeclaration>& BaseMappableObject::Class::allProperties() const {
  std::call_once(propertiesOnce_, [this] {
    std::vector<const Class*> chain;
    for (const Class* cls = this; cls && chain.size() < kMaximumInheritanceDepth;
         cls = dynamic_cast<const Class*>(cls->superclass())) {
      chain.push_back(cls);
    }
    for (auto it = chain.rbegin(); it != chain.rend(); ++it) {
      for (auto& declaration : (*it)->declaredProperties()) {
        auto same = std::find_if(properties_.begin(), properties_.end(),
                                 [&](const auto& p) { return p.name == declaration.name; });
        if (same != properties_.end()) {
          *same = declaration;  // a redeclaration refines the inherited one
        } else {
          properties_.push_back(std::move(declaration));
        }
      }
    }
  });
  return properties_;
}

std::optional<PropertyDeclaration> BaseMappableObject::Class::propertyNamed(
    std::string_view name) const {
  for (const auto& declaration : allProperties()) {
    if (declaration.name == name) return declaration;
  }
  return std::nullopt;
}

MappingDictionary BaseMappableObject::Class::autoGeneratedAttributeMappings() const {
  return RecordClassCaches::objectAttributeMappings().findOrBuild(name(), [this] {
    MappingDictionary mapping;
    for (const auto& declaration : declaredProperties())
      mapping[declaration.name] = declaration.name;
    return mapping;
  });
}

}  // namespace dm
