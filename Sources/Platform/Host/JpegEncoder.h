// JPEG encoding of photos at a quality, as the platform's image service does it: a host hook
// with a built-in encoder over libjpeg-turbo.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "Platform/Foundation/Error.h"
#include "Platform/Host/RawImage.h"

namespace dm {

// The pixels cannot be encoded (bad dimensions, a channel count other than 3 or 4, too few
// bytes, a quality that is not a number) or the encoder itself failed. what() says which.
// Its code is ImageEncodingFailed.
class ImageEncodingError : public Error {
 public:
  explicit ImageEncodingError(const std::string& message)
      : Error(ErrorCode::ImageEncodingFailed, message) {}
};

// Implementations must be callable from any thread at the same time.
class JpegEncoder {
 public:
  // The quality photos are uploaded at.
  static constexpr double kPhotoQuality = 0.5;

  virtual ~JpegEncoder() = default;
  // The JPEG file bytes of `image` at `quality`, 0 (smallest) to 1 (best); values outside are
  // clamped. Alpha is dropped: JPEG has none. Throws ImageEncodingError.
  virtual std::vector<std::uint8_t> encode(const RawImage& image, double quality) const = 0;

  // The process-wide encoder: the built-in one unless the host installed its own. Any thread.
  static std::shared_ptr<JpegEncoder> shared();
  // Replaces the process-wide encoder; nullptr restores the built-in one.
  static void setShared(std::shared_ptr<JpegEncoder> encoder);
};

// The built-in encoder: libjpeg-turbo, baseline, 4:2:0 chroma, quality 0..1 mapped onto
// libjpeg's 1..100 scale.
class LibjpegEncoder final : public JpegEncoder {
 public:
  std::vector<std::uint8_t> encode(const RawImage& image, double quality) const override;
};

}  // namespace dm
