// Reading update dictionaries from a parsed tree.
#include "Handbook/Adapter/HandbookUpdateSource.h"

namespace dm {

const nlohmann::json* HandbookTreeUpdateSource::array(std::string_view key) const {
  if (!tree_.is_object()) return nullptr;
  auto it = tree_.find(key);
  return it != tree_.end() && it->is_array() ? &*it : nullptr;
}

std::size_t HandbookTreeUpdateSource::elementCount(std::string_view key) {
  const nlohmann::json* found = array(key);
  return found ? found->size() : 0;
}

void HandbookTreeUpdateSource::elements(std::string_view key, std::size_t first, std::size_t count,
                                        std::vector<handbook_dict::Node>& out) {
  out.clear();
  const nlohmann::json* found = array(key);
  if (!found || first >= found->size()) return;
  const std::size_t end = first + std::min(count, found->size() - first);
  out.reserve(end - first);
  for (std::size_t i = first; i < end; ++i) out.emplace_back((*found)[i]);
}

}  // namespace dm
