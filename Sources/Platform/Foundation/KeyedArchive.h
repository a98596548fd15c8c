// Keyed archives: a key-value tree stored as bytes (in record fields and settings) and read
// back with a check that it holds only the kinds of values the readers expect.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include <nlohmann/json.hpp>

namespace dm {

// Layout: the magic bytes "DMKA", one format-version byte, then the tree as CBOR. The header
// lets the layout change later without misreading older archives.
//
// Allowed kinds: lists, dictionaries (text keys), null, texts and numbers (booleans count as
// numbers). Anything else (binary blobs, CBOR tags, ...) is refused on both sides.
//
// All functions are pure and may be called from any thread.
struct KeyedArchive {
  static constexpr std::uint8_t kFormatVersion = 1;
  // Deeper trees are refused; it keeps decoding of hostile bytes from exhausting the stack.
  static constexpr std::size_t kMaximumDepth = 256;

  // The archive of `tree`; std::nullopt when the tree holds a kind that is not allowed or is
  // nested deeper than kMaximumDepth. The caller owns the bytes.
  static std::optional<std::vector<std::uint8_t>> archivedData(const nlohmann::json& tree);

  // The tree in `bytes`; std::nullopt for anything that is not a complete archive of this
  // format: empty or short input, wrong magic or version, malformed or trailing CBOR, a
  // disallowed kind, or nesting deeper than kMaximumDepth. Never throws.
  static std::optional<nlohmann::json> unarchivedObject(std::span<const std::uint8_t> bytes);

  // True when every value in the tree is of an allowed kind and it is not nested too deep.
  static bool holdsOnlyAllowedKinds(const nlohmann::json& tree);
};

}  // namespace dm
