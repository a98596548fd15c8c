// KeyPath: splitting happens once, when a mapping is declared.
#include "Platform/ObjectMapping/KeyPath.h"

namespace dm {

KeyPath::KeyPath(std::string_view path) : text(path) {
  std::size_t start = 0;
  bool leading = true;
  while (start <= path.size() && !path.empty()) {
    std::size_t dot = path.find('.', start);
    if (dot == std::string_view::npos) dot = path.size();
    std::string_view segment = path.substr(start, dot - start);
    if (leading && segment == "@parent") {
      ++parentLevels;
    } else {
      leading = false;
      segments.emplace_back(segment);
    }
    start = dot + 1;
  }
}

}  // namespace dm
