// Where the library's image lookups get their images from. Image assets belong to the host
// application; the library only names them. The host installs a provider that turns an
// asset name into its own image handle; by default the handle is the name itself.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace dm {

// An image as the host identifies it (an asset name, a path, a key into its image cache).
using ImageHandle = std::string;

// Resolves image asset names. Implementations must be callable from any thread.
class ImageProvider {
 public:
  virtual ~ImageProvider() = default;

  // The image of the asset `name`; nothing when the host has no such asset.
  virtual std::optional<ImageHandle> imageNamed(std::string_view name) const = 0;

  // The process-wide provider (AssetNameImageProvider unless the host replaced it).
  // Any thread; the returned pointer keeps the provider alive while the caller holds it.
  static std::shared_ptr<const ImageProvider> shared();
  // Replaces the process-wide provider; nullptr restores the default. Any thread.
  static void setShared(std::shared_ptr<const ImageProvider> provider);
};

// The default provider: every name resolves to a handle equal to the name.
class AssetNameImageProvider final : public ImageProvider {
 public:
  std::optional<ImageHandle> imageNamed(std::string_view name) const override;
};

}  // namespace dm
