// The interface through which a request body is built from a record.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include <nlohmann/json.hpp>

#include "Platform/ObjectMapping/MappingDestination.h"

namespace dm {

// A field's value as a source gives it: a typed value, or a JSON tree for tree fields.
using SourceValue = std::variant<Value, nlohmann::json>;

// Read-only access to records for request serialisation. Used on the thread that builds the
// request; implementations say which threads may read their records.
class MappingSource {
 public:
  virtual ~MappingSource() = default;
  // True when the record is of class `className` or of a subclass of it.
  virtual bool isKindOfClass(ObjectRef object, std::string_view className) const = 0;
  // The value of a field; nullopt when the record has no field of that name.
  virtual std::optional<SourceValue> fieldValue(ObjectRef object, std::string_view field) const = 0;
  // The records of a relationship (none or one for to-one); nullopt when the record has no
  // relationship of that name. `toMany` tells which kind it is.
  virtual std::optional<std::vector<ObjectRef>> relatedObjects(ObjectRef object,
                                                               std::string_view relationship,
                                                               bool& toMany) const = 0;
};

}  // namespace dm
