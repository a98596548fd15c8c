// The process-wide JPEG encoder and the built-in libjpeg-turbo one.
#include "Platform/Host/JpegEncoder.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <mutex>
#include <string>

#include "Platform/Host/LibjpegErrors.h"

namespace dm {
namespace {
std::mutex gSharedMutex;
std::shared_ptr<JpegEncoder> gShared;  // guarded by gSharedMutex; null: the built-in one

// JPEG's frame header holds 16-bit dimensions.
constexpr int kMaxDimension = 65500;

void validate(const RawImage& image, double quality) {
  if (image.width <= 0 || image.height <= 0 || image.width > kMaxDimension ||
      image.height > kMaxDimension)
    throw ImageEncodingError("JPEG encoding: image size " + std::to_string(image.width) + "x" +
                             std::to_string(image.height) + " is not between 1 and " +
                             std::to_string(kMaxDimension));
  if (image.channels != 3 && image.channels != 4)
    throw ImageEncodingError("JPEG encoding: " + std::to_string(image.channels) +
                             " channels per pixel; RGB (3) or RGBA (4) expected");
  const std::size_t needed = static_cast<std::size_t>(image.width) *
                             static_cast<std::size_t>(image.height) *
                             static_cast<std::size_t>(image.channels);
  if (image.pixels.size() < needed)
    throw ImageEncodingError("JPEG encoding: " + std::to_string(image.pixels.size()) +
                             " bytes of pixels, " + std::to_string(needed) + " needed");
  if (std::isnan(quality)) throw ImageEncodingError("JPEG encoding: the quality is not a number");
}
}  // namespace

std::shared_ptr<JpegEncoder> JpegEncoder::shared() {
  std::lock_guard lock(gSharedMutex);
  if (!gShared) gShared = std::make_shared<LibjpegEncoder>();
  return gShared;
}

void JpegEncoder::setShared(std::shared_ptr<JpegEncoder> encoder) {
  std::lock_guard lock(gSharedMutex);
  gShared = std::move(encoder);
}

namespace {
// All the state libjpeg touches, kept behind one reference so nothing a longjmp skips over
// lives in a register.
struct Compression {
  jpeg_compress_struct info{};
  libjpeg::ErrorManager errors;
  unsigned char* output = nullptr;  // malloc'd by libjpeg's memory destination
  unsigned long outputSize = 0;
};

// False (with the library's message in c.errors) when libjpeg failed.
bool compress(Compression& c, const RawImage& image, int quality) {
  if (setjmp(c.errors.jump)) return false;
  jpeg_create_compress(&c.info);
  jpeg_mem_dest(&c.info, &c.output, &c.outputSize);
  c.info.image_width = static_cast<JDIMENSION>(image.width);
  c.info.image_height = static_cast<JDIMENSION>(image.height);
  c.info.input_components = image.channels;
  c.info.in_color_space = image.channels == 4 ? JCS_EXT_RGBA : JCS_RGB;
  jpeg_set_defaults(&c.info);
  jpeg_set_quality(&c.info, quality, TRUE);
  jpeg_start_compress(&c.info, TRUE);
  const std::size_t stride =
      static_cast<std::size_t>(image.width) * static_cast<std::size_t>(image.channels);
  while (c.info.next_scanline < c.info.image_height) {
    // libjpeg's row type is not const, though compression only reads it.
    JSAMPROW row = const_cast<JSAMPLE*>(image.pixels.data() + c.info.next_scanline * stride);
    jpeg_write_scanlines(&c.info, &row, 1);
  }
  jpeg_finish_compress(&c.info);
  return true;
}
}  // namespace

std::vector<std::uint8_t> LibjpegEncoder::encode(const RawImage& image, double quality) const {
  validate(image, quality);
  // libjpeg's scale is 1..100; 0 would be refused, so the lowest quality is 1.
  const int libjpegQuality =
      std::max(1, static_cast<int>(std::lround(std::clamp(quality, 0.0, 1.0) * 100.0)));
  Compression c;
  c.info.err = libjpeg::install(c.errors);
  const bool done = compress(c, image, libjpegQuality);
  std::vector<std::uint8_t> bytes;
  if (done) bytes.assign(c.output, c.output + c.outputSize);
  jpeg_destroy_compress(&c.info);
  std::free(c.output);
  if (!done) throw ImageEncodingError(std::string("JPEG encoding failed: ") + c.errors.message);
  return bytes;
}

}  // namespace dm
