// Photo upload requests.
#include "Social/PhotoAddRequest.h"

#include <span>
#include <string>

#include "Platform/Foundation/Logger.h"
#include "Platform/Host/JpegDecoder.h"
#include "Platform/Host/JpegEncoder.h"

namespace dm {

bool PhotoAddRequest::setImage(const RawImage& image) {
  try {
    std::vector<std::uint8_t> jpeg =
        JpegEncoder::shared()->encode(image, JpegEncoder::kPhotoQuality);
    setData(RecordValue(std::string(jpeg.begin(), jpeg.end())));
    return true;
  } catch (const ImageEncodingError& error) {
    logWarning(std::string("PhotoAddRequest: cannot encode the image: ") + error.what());
    clearData();
    return false;
  }
}

std::optional<RawImage> PhotoAddRequest::image() const {
  RecordValue bytes = data();
  if (!bytes.isString()) return std::nullopt;
  const std::string& text = bytes.asString();
  try {
    return decodeJpeg(std::span<const std::uint8_t>(
        reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
  } catch (const ImageEncodingError&) {
    return std::nullopt;
  }
}

}  // namespace dm
