// Reading an input file for a benchmark: straight into one buffer of the file's size, so
// setup never holds two copies of the text (peak memory is part of what is reported).
#pragma once

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace bench {

// The whole file; `padding` spare bytes are reserved after the text for parsers that read
// past its end. Throws std::runtime_error when the file cannot be read.
inline std::string readPayload(const std::filesystem::path& file, std::size_t padding = 0) {
  std::ifstream in(file, std::ios::binary | std::ios::ate);
  if (!in) throw std::runtime_error("cannot read " + file.string());
  const auto size = static_cast<std::size_t>(in.tellg());
  std::string text;
  text.reserve(size + padding);
  text.resize(size);
  in.seekg(0);
  if (!in.read(text.data(), static_cast<std::streamsize>(size)))
    throw std::runtime_error("cannot read " + file.string());
  return text;
}

}  // namespace bench
