// A picture to upload: the image is kept as its JPEG encoding at the upload quality.
#pragma once

#include <optional>

#include "Platform/Host/RawImage.h"
#include "Social/PhotoAddRequestGenerated.h"

namespace dm {

// One thread at a time per instance, held by std::shared_ptr (see BaseMappableObject).
class PhotoAddRequest : public PhotoAddRequestGenerated {
  DM_RECORD_OBJECT(PhotoAddRequest)

 public:
  // Stores the JPEG encoding of `image` at JpegEncoder::kPhotoQuality (through the host's
  // encoder) in data. False, and data cleared, when the image cannot be encoded.
  bool setImage(const RawImage& image);
  // data decoded; nothing when data is absent or no readable JPEG.
  std::optional<RawImage> image() const;
};

}  // namespace dm
