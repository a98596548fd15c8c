// Finding the seed archives that ship with the library.
#include "Handbook/Storage/ShippedSeeds.h"

#include <dlfcn.h>

#include <system_error>

namespace dm {
namespace {
constexpr const char* kProbe = "Handbook_en.sqlite";

bool holdsSeed(const std::filesystem::path& directory) {
  std::error_code ec;
  return !directory.empty() && std::filesystem::is_regular_file(directory / kProbe, ec);
}

// The directory of the shared object this code was loaded from.
std::optional<std::filesystem::path> libraryDirectory() {
  Dl_info info{};
  if (::dladdr(reinterpret_cast<const void*>(&libraryDirectory), &info) == 0 || !info.dli_fname)
    return std::nullopt;
  std::error_code ec;
  auto path = std::filesystem::weakly_canonical(info.dli_fname, ec);
  if (ec) path = info.dli_fname;
  return path.parent_path();
}
}  // namespace

std::optional<std::filesystem::path> shippedSeedDirectory() {
  std::vector<std::filesystem::path> candidates;
  if (auto library = libraryDirectory()) {
    candidates.push_back(*library / "seeds");
    candidates.push_back(*library / ".." / "share" / "datamodel" / "seeds");
    // A multiarch lib directory (lib/x86_64-linux-gnu) sits one level deeper.
    candidates.push_back(*library / ".." / ".." / "share" / "datamodel" / "seeds");
  }
#ifdef DM_INSTALL_SEED_DIR
  candidates.emplace_back(DM_INSTALL_SEED_DIR);
#endif
  for (const auto& candidate : candidates)
    if (holdsSeed(candidate)) return candidate.lexically_normal();
  return std::nullopt;
}

LayeredSeedPackSource::LayeredSeedPackSource(std::vector<std::shared_ptr<SeedPackSource>> layers)
    : layers_(std::move(layers)) {}

void LayeredSeedPackSource::beginAccess(const std::string& tag, const std::string& languageCode,
                                        Completion completion) {
  if (resourcePath(seedResourceFileName(languageCode))) {
    completion(std::nullopt);
  } else if (!layers_.empty() && layers_.front()) {
    layers_.front()->beginAccess(tag, languageCode, std::move(completion));
  } else {
    completion("no seed pack source for the tag " + tag);
  }
}

std::optional<std::filesystem::path> LayeredSeedPackSource::resourcePath(
    const std::string& resourceName) {
  for (const auto& layer : layers_) {
    if (!layer) continue;
    if (auto path = layer->resourcePath(resourceName)) return path;
  }
  return std::nullopt;
}

void LayeredSeedPackSource::endAccess(const std::string& tag) {
  for (const auto& layer : layers_)
    if (layer) layer->endAccess(tag);
}

std::shared_ptr<SeedPackSource> makePackSourceWithShippedSeeds(
    const std::filesystem::path& hostPacks) {
  std::vector<std::shared_ptr<SeedPackSource>> layers{
      std::make_shared<DirectorySeedPackSource>(hostPacks)};
  if (auto shipped = shippedSeedDirectory())
    layers.push_back(std::make_shared<DirectorySeedPackSource>(*shipped));
  return std::make_shared<LayeredSeedPackSource>(std::move(layers));
}

}  // namespace dm
