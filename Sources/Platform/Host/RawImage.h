// Uncompressed pixels as hosts hand them over: rows of 8-bit RGB or RGBA samples.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace dm {

// A plain value; copy it between threads freely. Pixels are stored row after row, top row
// first, `channels` bytes per pixel (3: RGB, 4: RGBA with the alpha last), no row padding.
struct RawImage {
  int width = 0;
  int height = 0;
  int channels = 3;
  std::vector<std::uint8_t> pixels;

  // The sample of channel `c` of the pixel at (x, y); the caller keeps the indices in range.
  std::uint8_t sample(int x, int y, int c) const {
    return pixels[(static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                   static_cast<std::size_t>(x)) *
                      static_cast<std::size_t>(channels) +
                  static_cast<std::size_t>(c)];
  }
};

}  // namespace dm
