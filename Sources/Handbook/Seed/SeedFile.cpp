// Whole-file reads and offset-to-line conversion for the seed readers.
#include "Handbook/Seed/SeedFile.h"

#include <algorithm>
#include <fstream>
#include <sstream>

#include "Handbook/Seed/SeedSourceError.h"

namespace dm {

std::string readSeedFile(const std::filesystem::path& file) {
  std::error_code error;
  if (!std::filesystem::exists(file, error)) throw SeedSourceError(file, 0, "file not found");
  if (!std::filesystem::is_regular_file(file, error)) {
    throw SeedSourceError(file, 0, "not a regular file");
  }
  std::ifstream in(file, std::ios::binary);
  if (!in) throw SeedSourceError(file, 0, "cannot open the file");
  std::ostringstream bytes;
  bytes << in.rdbuf();
  if (in.bad()) throw SeedSourceError(file, 0, "cannot read the file");
  return bytes.str();
}

std::size_t lineAtOffset(std::string_view text, std::size_t offset) {
  offset = std::min(offset, text.size());
  return 1 + static_cast<std::size_t>(std::count(text.begin(), text.begin() + offset, '\n'));
}

bool isValidUtf8(std::string_view text) {
  std::size_t i = 0;
  while (i < text.size()) {
    auto byte = static_cast<unsigned char>(text[i]);
    std::size_t length = 0;
    char32_t point = 0;
    if (byte < 0x80) {
      ++i;
      continue;
    } else if ((byte & 0xE0) == 0xC0) {
      length = 2;
      point = byte & 0x1F;
    } else if ((byte & 0xF0) == 0xE0) {
      length = 3;
      point = byte & 0x0F;
    } else if ((byte & 0xF8) == 0xF0) {
      length = 4;
      point = byte & 0x07;
    } else {
      return false;
    }
    if (i + length > text.size()) return false;
    for (std::size_t k = 1; k < length; ++k) {
      auto next = static_cast<unsigned char>(text[i + k]);
      if ((next & 0xC0) != 0x80) return false;
      point = (point << 6) | (next & 0x3F);
    }
    static constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
    if (point < kSmallest[length] || point > 0x10FFFF || (point >= 0xD800 && point <= 0xDFFF)) {
      return false;
    }
    i += length;
  }
  return true;
}

}  // namespace dm
