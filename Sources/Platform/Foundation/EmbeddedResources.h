// Resources compiled into the library: store models and localisation tables.
#pragma once

#include <optional>
#include <string_view>
#include <vector>

namespace dm {

namespace detail {
struct EmbeddedResourceEntry {
  const char* name;
  std::string_view bytes;
};
extern const EmbeddedResourceEntry kEmbeddedResources[];
}  // namespace detail

// Read-only access to the files under Resources/ that the build embeds.
// Names are paths relative to Resources/, e.g. "Models/Korvalo.json".
// Thread-safe: the table is constant data.
class EmbeddedResources {
 public:
  // The bytes of the resource, or nothing when no resource has that name.
  // The view points into static storage and stays valid for the process.
  static std::optional<std::string_view> find(std::string_view name);

  // Names of every embedded resource, in build order.
  static std::vector<std::string_view> names();
};

}  // namespace dm
