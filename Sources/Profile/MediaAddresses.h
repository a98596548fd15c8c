// The media-address service: full, thumbnail and small-thumbnail addresses of a picture stored
// on the server under a relative path. Replaceable, so the host can point it at its own
// media server.
#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace dm {

// Implementations must be callable from any thread.
class MediaAddresses {
 public:
  virtual ~MediaAddresses() = default;

  // Each returns the address for `path` (relative or absolute); "" when none can be formed
  // (an empty path). Never throws.
  virtual std::string fullAddress(std::string_view path) const = 0;
  virtual std::string thumbnailAddress(std::string_view path) const = 0;
  virtual std::string smallThumbnailAddress(std::string_view path) const = 0;

  // The process-wide service (a PathMediaAddresses without a base unless replaced). Any
  // thread; the pointer keeps the service alive while held.
  static std::shared_ptr<const MediaAddresses> shared();
  // Replaces the process-wide service; nullptr restores the default. Any thread.
  static void setShared(std::shared_ptr<const MediaAddresses> service);
};

// Relative paths are resolved against `baseAddress` ("https://media.example/"); absolute
// addresses (with a scheme) are kept. Thumbnails sit beside the picture with a name prefix:
// "a/b.jpg" -> "a/thumb_b.jpg" and "a/small_thumb_b.jpg".
class PathMediaAddresses final : public MediaAddresses {
 public:
  explicit PathMediaAddresses(std::string baseAddress = {});

  std::string fullAddress(std::string_view path) const override;
  std::string thumbnailAddress(std::string_view path) const override;
  std::string smallThumbnailAddress(std::string_view path) const override;

 private:
  std::string resolved(std::string_view path, std::string_view prefix) const;
  std::string base_;
};

}  // namespace dm
