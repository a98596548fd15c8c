// Converting structured attribute values between trees and keyed archives.
#include "Platform/ObjectStore/StructuredValue.h"

#include <stdexcept>

#include "Platform/Foundation/KeyedArchive.h"
#include "Platform/ObjectStore/ManagedObject.h"

namespace dm {
namespace {

nlohmann::json emptyStructure(AttributeType type) {
  return type == AttributeType::List ? nlohmann::json::array() : nlohmann::json::object();
}

const AttributeDescription& structuredAttribute(const ManagedObject& object, std::size_t index) {
  const AttributeDescription& attribute = object.entity().attributes().at(index);
  if (!isStructured(attribute.type))
    throw std::invalid_argument("Attribute " + object.entity().name() + "." + attribute.name +
                                " is not a dictionary or a list");
  return attribute;
}

}  // namespace

bool isStructureOfType(const nlohmann::json& tree, AttributeType type) {
  if (type == AttributeType::Dictionary) return tree.is_object();
  if (type == AttributeType::List) return tree.is_array();
  return false;
}

Value archivedStructure(const nlohmann::json& tree, AttributeType type) {
  if (!isStructureOfType(tree, type)) return {};
  auto bytes = KeyedArchive::archivedData(tree);
  if (!bytes) return {};
  return Value(std::move(*bytes));
}

nlohmann::json structureFromValue(const Value& value, AttributeType type) {
  if (!value.isBlob()) return emptyStructure(type);
  auto tree = KeyedArchive::unarchivedObject(value.asBlob());
  if (!tree || !isStructureOfType(*tree, type)) return emptyStructure(type);
  return std::move(*tree);
}

nlohmann::json structureAt(const ManagedObject& object, std::size_t attributeIndex) {
  const AttributeDescription& attribute = structuredAttribute(object, attributeIndex);
  return structureFromValue(object.valueAt(attributeIndex), attribute.type);
}

bool setStructureAt(ManagedObject& object, std::size_t attributeIndex, const nlohmann::json& tree) {
  const AttributeDescription& attribute = structuredAttribute(object, attributeIndex);
  if (tree.is_null()) {
    object.setValueAt(attributeIndex, Value());
    return true;
  }
  Value archived = archivedStructure(tree, attribute.type);
  if (archived.isNull()) return false;
  object.setValueAt(attributeIndex, std::move(archived));
  return true;
}

}  // namespace dm
