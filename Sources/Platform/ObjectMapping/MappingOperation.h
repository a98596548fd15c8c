// The mapping operation: a JSON payload plus mappings onto a destination, as one
// all-or-nothing step.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "Platform/ObjectMapping/MappingDestination.h"
#include "Platform/ObjectMapping/MappingError.h"
#include "Platform/ObjectMapping/ObjectMapping.h"

namespace dm {

struct MappingOptions {
  // Records nested deeper than this (relationship inside relationship ...) are refused.
  unsigned maxDepth = 256;
  // Stop collecting issues after this many; the error still reports the first ones.
  std::size_t maxIssues = 100;
  // Lenient (the default): a value that does not fit its field is skipped and reported, the
  // rest of the record and of the payload is mapped. Strict: any such value fails the whole
  // operation. Structural problems fail it either way (see MappingOperation).
  bool skipInvalidValues = true;
};

// The records mapped for one root: each distinct top-level record once, in payload order,
// and what was skipped under that root.
struct MappingResult {
  std::vector<ObjectRef> objects;
  // Values (or, when its identification cannot be read, whole records) left out, with the
  // key path and class; at most MappingOptions::maxIssues are kept.
  std::vector<MappingError::Issue> skipped;
  std::size_t skippedCount = 0;  // all of them, kept or not
};

// How it works: the payload is walked once, values are transformed and records are matched
// to identities without touching the destination; only when the whole payload is valid
// are the identities looked up (one batched lookup per entity and identification), missing
// records created and values, relationships and foreign-key connections written. So a
// MappingError leaves the destination as it was.
//
// What fails the whole operation (structural): text that is not JSON, nesting deeper than
// maxDepth, a key path of a root that is missing or holds something other than an object, an
// array of objects or null, an unknown class or field in the mappings. What is skipped when
// skipInvalidValues is set: a value of the wrong type for its field, a relationship value that
// is not an object (or an array of objects for a to-many), and a record whose identification
// attribute cannot be read (it cannot be matched, so it is left out with what it nests). Each
// skip is reported in MappingResult::skipped and as a diagnostic event "Mapping skipped a
// value" with the key path, the class and the reason.
//
// An operation object holds no state between calls; use it from one thread at a time,
// together with its destination.
class MappingOperation {
 public:
  // One mapping applied to the value under a key path of the payload ("" for the root).
  struct Root {
    std::string keyPath;
    std::shared_ptr<const ObjectMapping> mapping;
    // When true, a key path missing from the payload maps nothing instead of failing.
    bool optional = false;
  };

  explicit MappingOperation(MappingDestination& destination, MappingOptions options = {});

  // Parses `jsonText` and maps the value under `keyPath` (an object: one record; an array of
  // objects: one record each; null: none). Returns the mapped top-level records; the caller
  // does not own them (the destination does). Throws MappingError for malformed JSON, wrong
  // shapes, untransformable values, unknown classes or fields and too-deep nesting; the
  // destination is then unchanged.
  MappingResult map(std::string_view jsonText, std::string_view keyPath,
                    const std::shared_ptr<const ObjectMapping>& mapping);
  // The same for an already parsed tree.
  MappingResult map(const nlohmann::json& json, std::string_view keyPath,
                    const std::shared_ptr<const ObjectMapping>& mapping);

  // The text forms again: a std::string argument would otherwise be ambiguous between the
  // text and the tree overloads. A string with at least kParsePadding bytes of spare
  // capacity (reserve() it) is parsed in place instead of being copied first.
  static constexpr std::size_t kParsePadding = 64;
  MappingResult map(const std::string& jsonText, std::string_view keyPath,
                    const std::shared_ptr<const ObjectMapping>& mapping) {
    return std::move(map(jsonText, {Root{std::string(keyPath), mapping, false}}).front());
  }
  MappingResult map(const char* jsonText, std::string_view keyPath,
                    const std::shared_ptr<const ObjectMapping>& mapping) {
    return map(std::string_view(jsonText), keyPath, mapping);
  }

  // Several roots of one payload in one all-or-nothing step; one result per root.
  std::vector<MappingResult> map(std::string_view jsonText, const std::vector<Root>& roots);
  std::vector<MappingResult> map(const nlohmann::json& json, const std::vector<Root>& roots);
  std::vector<MappingResult> map(const std::string& jsonText, const std::vector<Root>& roots);
  std::vector<MappingResult> map(const char* jsonText, const std::vector<Root>& roots) {
    return map(std::string_view(jsonText), roots);
  }

 private:
  std::vector<MappingResult> mapText(std::string_view jsonText, bool padded,
                                     const std::vector<Root>& roots);

  MappingDestination& destination_;
  MappingOptions options_;
};

}  // namespace dm
