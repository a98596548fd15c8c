// JPEG bytes to RGB pixels with libjpeg-turbo.
#include "Platform/Host/JpegDecoder.h"

#include <cstdio>
#include <limits>
#include <string>
#include <utility>

#include "Platform/Host/JpegEncoder.h"
#include "Platform/Host/LibjpegErrors.h"

namespace dm {

namespace {
constexpr std::uint64_t kMaxPixels = 100'000'000;

// All the state libjpeg touches, kept behind one reference so nothing a longjmp skips over
// lives in a register.
struct Decompression {
  jpeg_decompress_struct info{};
  libjpeg::ErrorManager errors;
  RawImage image;
};

// False (with the library's message in d.errors) when libjpeg failed.
bool decompress(Decompression& d, std::span<const std::uint8_t> bytes) {
  if (setjmp(d.errors.jump)) return false;
  jpeg_create_decompress(&d.info);
  jpeg_mem_src(&d.info, bytes.data(), static_cast<unsigned long>(bytes.size()));
  jpeg_read_header(&d.info, TRUE);
  // A forged header must not make us allocate gigabytes.
  if (static_cast<std::uint64_t>(d.info.image_width) * d.info.image_height > kMaxPixels) {
    std::snprintf(d.errors.message, sizeof d.errors.message, "%ux%u pixels is more than %llu",
                  d.info.image_width, d.info.image_height,
                  static_cast<unsigned long long>(kMaxPixels));
    return false;
  }
  d.info.out_color_space = JCS_RGB;
  jpeg_start_decompress(&d.info);
  d.image.width = static_cast<int>(d.info.output_width);
  d.image.height = static_cast<int>(d.info.output_height);
  d.image.channels = 3;
  const std::size_t stride = static_cast<std::size_t>(d.image.width) * 3;
  d.image.pixels.resize(stride * static_cast<std::size_t>(d.image.height));
  while (d.info.output_scanline < d.info.output_height) {
    JSAMPROW row = d.image.pixels.data() + d.info.output_scanline * stride;
    jpeg_read_scanlines(&d.info, &row, 1);
  }
  jpeg_finish_decompress(&d.info);
  return true;
}
}  // namespace

RawImage decodeJpeg(std::span<const std::uint8_t> bytes) {
  if (bytes.empty()) throw ImageEncodingError("JPEG decoding: no bytes");
  if (bytes.size() > std::numeric_limits<unsigned long>::max())
    throw ImageEncodingError("JPEG decoding: too many bytes");
  Decompression d;
  d.info.err = libjpeg::install(d.errors);
  const bool done = decompress(d, bytes);
  jpeg_destroy_decompress(&d.info);
  if (!done) throw ImageEncodingError(std::string("JPEG decoding failed: ") + d.errors.message);
  return std::move(d.image);
}

}  // namespace dm
