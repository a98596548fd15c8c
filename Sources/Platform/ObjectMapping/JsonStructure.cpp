// Locating a payload's array of records without parsing it.
#include "Platform/ObjectMapping/JsonStructure.h"

namespace dm::json_structure {

bool locateArrayElements(std::string_view text, std::string_view key, std::vector<Span>& elements) {
  elements.clear();
  Scanner in(text);
  in.skipSpace();
  if (key.empty()) {
    if (in.peek() != '[' || !in.skipArray(elements)) return false;
    in.skipSpace();
    return in.atEnd();
  }
  if (!in.consume('{')) return false;
  in.skipSpace();
  bool found = false;
  if (in.consume('}')) return false;
  std::vector<Span> candidate;
  for (;;) {
    in.skipSpace();
    if (in.peek() != '"') return false;
    const std::size_t keyBegin = in.offset();
    if (!in.skipString()) return false;
    const bool matches = text.substr(keyBegin + 1, in.offset() - keyBegin - 2) == key;
    in.skipSpace();
    if (!in.consume(':')) return false;
    in.skipSpace();
    if (matches && in.peek() == '[') {
      candidate.clear();
      if (!in.skipArray(candidate)) return false;
      elements.swap(candidate);
      found = true;
    } else {
      if (!in.skipValue()) return false;
      // A later member of the same name that is not an array replaces the array.
      if (matches) {
        elements.clear();
        found = false;
      }
    }
    in.skipSpace();
    if (in.consume(',')) continue;
    if (!in.consume('}')) return false;
    break;
  }
  in.skipSpace();
  if (!in.atEnd()) return false;
  if (!found) elements.clear();
  return found;
}

}  // namespace dm::json_structure
