// Reading JPEG bytes back into pixels (a photo request's stored data shown as an image).
#pragma once

#include <cstdint>
#include <span>

#include "Platform/Host/RawImage.h"

namespace dm {

// The RGB pixels (3 channels) of the JPEG file `bytes`. Throws ImageEncodingError (from
// JpegEncoder.h) for bytes that are not a readable JPEG. Any thread.
RawImage decodeJpeg(std::span<const std::uint8_t> bytes);

}  // namespace dm
