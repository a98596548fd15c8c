// Nesting limits for trees built from outside input: copying, freeing and walking a tree
// recurse once per level, so a hostile 100k-deep value would overflow the stack. These checks
// themselves never recurse.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "Platform/Foundation/Error.h"

namespace dm {

// Thrown where a tree deeper than the documented limit of an operation is refused; its code
// is NestingTooDeep.
class NestingTooDeepError : public Error {
 public:
  NestingTooDeepError(const std::string& what, std::size_t limit)
      : Error(ErrorCode::NestingTooDeep,
              what + " is nested deeper than " + std::to_string(limit) + " levels"),
        limit_(limit) {}
  std::size_t limit() const { return limit_; }

 private:
  std::size_t limit_;
};

// True when JSON text opens more than `limit` arrays or objects inside each other (brackets
// inside strings do not count). Works on any bytes, valid JSON or not. Any thread.
bool textNestedDeeperThan(std::string_view text, std::size_t limit);

// True when `tree` holds arrays or objects more than `limit` levels deep (a scalar root is
// level 0, a container root level 1). Any thread.
bool treeNestedDeeperThan(const nlohmann::json& tree, std::size_t limit);

}  // namespace dm
