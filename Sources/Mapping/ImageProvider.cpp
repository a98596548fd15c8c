// The process-wide image provider and its default.
#include "Mapping/ImageProvider.h"

#include <mutex>

namespace dm {
namespace {

std::mutex& providerMutex() {
  static std::mutex mutex;
  return mutex;
}

std::shared_ptr<const ImageProvider>& installedProvider() {
  static std::shared_ptr<const ImageProvider> provider = std::make_shared<AssetNameImageProvider>();
  return provider;
}

}  // namespace

std::optional<ImageHandle> AssetNameImageProvider::imageNamed(std::string_view name) const {
  return ImageHandle(name);
}

std::shared_ptr<const ImageProvider> ImageProvider::shared() {
  std::lock_guard lock(providerMutex());
  return installedProvider();
}

void ImageProvider::setShared(std::shared_ptr<const ImageProvider> provider) {
  if (!provider) provider = std::make_shared<AssetNameImageProvider>();
  std::lock_guard lock(providerMutex());
  installedProvider() = std::move(provider);
}

}  // namespace dm
