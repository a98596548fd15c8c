// Reading a whole seed source file, and turning byte offsets into line numbers for errors.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

namespace dm {

// The bytes of `file`. Throws SeedSourceError (line 0) when it is missing, not a regular
// file, or unreadable. Any thread.
std::string readSeedFile(const std::filesystem::path& file);

// The 1-based line that holds byte `offset` of `text` (offsets past the end count as the
// last line).
std::size_t lineAtOffset(std::string_view text, std::size_t offset);

// Whether `text` is well-formed UTF-8 (no overlong forms, surrogates or values past
// U+10FFFF).
bool isValidUtf8(std::string_view text);

}  // namespace dm
