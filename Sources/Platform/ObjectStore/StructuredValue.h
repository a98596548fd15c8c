// Structured attribute values (a dictionary or a list): the tree a record reads and writes,
// and the keyed archive its row keeps.
#pragma once

#include <cstddef>

#include <nlohmann/json.hpp>

#include "Platform/ObjectStore/Value.h"

namespace dm {

class ManagedObject;

// The value stored for `tree`: its keyed archive (Platform/Foundation/KeyedArchive.h), or null
// for a JSON null, for a tree of the wrong kind for `type` (a list given for a dictionary) and
// for a tree the archive refuses (binary values, nesting deeper than the archive allows).
// Pure; any thread.
Value archivedStructure(const nlohmann::json& tree, AttributeType type);

// The tree held by a stored value of a structured attribute of `type`. Anything that does not
// unarchive to that kind (null, bytes that are no archive, an archive of another kind, a text
// left from before the attribute became structured) reads as the empty structure: {} for a
// dictionary, [] for a list. Pure; any thread.
nlohmann::json structureFromValue(const Value& value, AttributeType type);

// True when the tree is of the kind a structured attribute of `type` holds.
bool isStructureOfType(const nlohmann::json& tree, AttributeType type);

// Object accessors by attribute index; same threads as the object. An index out of range
// throws std::out_of_range, an attribute that is not structured std::invalid_argument.
nlohmann::json structureAt(const ManagedObject& object, std::size_t attributeIndex);
// Returns false, and leaves the attribute alone, when the tree cannot be stored (wrong kind or
// refused by the archive); a JSON null clears the attribute.
bool setStructureAt(ManagedObject& object, std::size_t attributeIndex, const nlohmann::json& tree);

}  // namespace dm
