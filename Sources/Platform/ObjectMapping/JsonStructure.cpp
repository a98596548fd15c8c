// Locating a payload's array of records without parsing it.
#include "Platform/ObjectMapping/JsonStructure.h"

namespace dm::json_structure {

bool locateArrayElements(std::string_view text, std::string_view key, std::vector<Span>& elements,
                         const ScannedText& scanned) {
  elements.clear();
  Scanner in(text);
  if (scanned) in.reportScanned(scanned);
  in.skipSpace();
  if (key.empty()) {
    if (in.peek() != '[' || !in.skipArray(elements)) return false;
    in.skipSpace();
    return in.atEnd();
  }
  if (!in.consume('{')) return false;
  in.skipSpace();
  bool found = false, seen = false;
  if (in.consume('}')) return false;
  for (;;) {
    in.skipSpace();
    if (in.peek() != '"') return false;
    const std::size_t keyBegin = in.offset();
    if (!in.skipString()) return false;
    const std::string_view raw = text.substr(keyBegin + 1, in.offset() - keyBegin - 2);
    // An escaped key might spell `key` too; which member counts is then the parser's call.
    if (raw.find('\\') != std::string_view::npos) return false;
    const bool matches = raw == key;
    in.skipSpace();
    if (!in.consume(':')) return false;
    in.skipSpace();
    if (matches && !seen && in.peek() == '[') {
      if (!in.skipArray(elements)) return false;
      found = true;
    } else if (!in.skipValue()) {
      return false;
    }
    seen = seen || matches;
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
