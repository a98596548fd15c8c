// Where the seed archives that ship with the library live, and the pack source that puts the
// host's packs in front of them.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Handbook/Storage/SeedPackSource.h"

namespace dm {

// The directory holding the shipped seed archives ("Handbook_en.sqlite"), found next to the
// loaded library: "seeds" beside it in a build tree, "share/datamodel/seeds" of the prefix it
// is installed in, then the directory chosen when the library was configured. Nothing
// when none of them holds an archive. Any thread.
std::optional<std::filesystem::path> shippedSeedDirectory();

// Asks its sources in order: an archive one of them has is used; a pack none has is fetched
// through the first. Any thread.
class LayeredSeedPackSource final : public SeedPackSource {
 public:
  explicit LayeredSeedPackSource(std::vector<std::shared_ptr<SeedPackSource>> layers);
  void beginAccess(const std::string& tag, const std::string& languageCode,
                   Completion completion) override;
  std::optional<std::filesystem::path> resourcePath(const std::string& resourceName) override;
  void endAccess(const std::string& tag) override;

 private:
  const std::vector<std::shared_ptr<SeedPackSource>> layers_;
};

// The host's packs in `hostPacks` first, then the shipped seeds (when found).
std::shared_ptr<SeedPackSource> makePackSourceWithShippedSeeds(
    const std::filesystem::path& hostPacks);

}  // namespace dm
