// Builds a request body (a JSON tree) from a record with a request mapping.
#pragma once

#include <nlohmann/json.hpp>

#include "Platform/ObjectMapping/MappingSource.h"
#include "Platform/ObjectMapping/ObjectMapping.h"

namespace dm {

struct SerializationOptions {
  // Fields without a value are sent as JSON null unless this is set.
  bool omitNullValues = false;
  // Nested records deeper than this are refused (a relationship cycle).
  unsigned maxDepth = 64;
};

// The body for `object`: each attribute mapping writes the field's value under its server
// key path (a dotted path builds nested dictionaries); each relationship mapping writes the
// related record (to-one: a dictionary or null; to-many: an array) built with its own nested
// request mapping. Dates are sent as server date-time texts. Wrapped under `rootKeyPath`
// when it is not empty. Throws MappingError when the mapping is not a request mapping, the
// record lacks a mapped field or relationship, or records nest deeper than allowed. The
// caller owns the returned tree. Thread: the caller's, with the source's rules.
nlohmann::json serializeRequest(const ObjectMapping& mapping, const MappingSource& source,
                                ObjectRef object, std::string_view rootKeyPath = {},
                                const SerializationOptions& options = {});

}  // namespace dm
