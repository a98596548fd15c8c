// Lookup over the table that the build generates from Resources/.
#include "Platform/Foundation/EmbeddedResources.h"

namespace dm {

std::optional<std::string_view> EmbeddedResources::find(std::string_view name) {
  for (const auto* entry = detail::kEmbeddedResources; entry->name != nullptr; ++entry) {
    if (name == entry->name) return entry->bytes;
  }
  return std::nullopt;
}

std::vector<std::string_view> EmbeddedResources::names() {
  std::vector<std::string_view> result;
  for (const auto* entry = detail::kEmbeddedResources; entry->name != nullptr; ++entry) {
    result.emplace_back(entry->name);
  }
  return result;
}

}  // namespace dm
