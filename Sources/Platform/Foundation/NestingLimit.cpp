// Iterative nesting checks for JSON text and trees.
#include "Platform/Foundation/NestingLimit.h"

#include <utility>
#include <vector>

namespace dm {

bool textNestedDeeperThan(std::string_view text, std::size_t limit) {
  std::size_t depth = 0;
  bool inString = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (inString) {
      if (c == '\\')
        ++i;
      else if (c == '"')
        inString = false;
    } else if (c == '"') {
      inString = true;
    } else if (c == '[' || c == '{') {
      if (++depth > limit) return true;
    } else if ((c == ']' || c == '}') && depth > 0) {
      --depth;
    }
  }
  return false;
}

bool treeNestedDeeperThan(const nlohmann::json& tree, std::size_t limit) {
  // Depth-first with an explicit stack of (container, its depth).
  std::vector<std::pair<const nlohmann::json*, std::size_t>> stack;
  if (tree.is_structured()) stack.emplace_back(&tree, 1);
  while (!stack.empty()) {
    auto [node, depth] = stack.back();
    stack.pop_back();
    if (depth > limit) return true;
    for (const auto& child : *node)
      if (child.is_structured()) stack.emplace_back(&child, depth + 1);
  }
  return false;
}

}  // namespace dm
