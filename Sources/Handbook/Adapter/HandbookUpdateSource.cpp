// Reading update dictionaries from a parsed tree or from the response text.
#include "Handbook/Adapter/HandbookUpdateSource.h"

#include <algorithm>
#include <string>

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

handbook_dict::Node HandbookTextUpdateSource::header() {
  handbook_dict::Node header = reader_.header({"status", "version"});
  // The reader always builds an object: anything else means a member's text did not parse.
  if (!header.isObject()) throw HandbookPayloadRefused("the update's status or version");
  return header;
}

void HandbookTextUpdateSource::elements(std::string_view key, std::size_t first, std::size_t count,
                                        std::vector<handbook_dict::Node>& out) {
  if (reader_.elements(key, first, count, out)) return;
  const std::size_t size = reader_.elementCount(key);
  if (count > 0 && first < size)
    throw HandbookPayloadRefused("elements " + std::to_string(first) + " to " +
                                 std::to_string(std::min(first + count, size) - 1) + " of " +
                                 std::string(key));
}

void HandbookTextUpdateSource::checkRemaining() {
  if (!reader_.checkRemaining()) throw HandbookPayloadRefused("a value the update did not read");
}

}  // namespace dm
