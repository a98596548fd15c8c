// Encoding and checked decoding of keyed archives.
#include "Platform/Foundation/KeyedArchive.h"

#include <array>
#include <exception>

namespace dm {
namespace {

constexpr std::array<std::uint8_t, 4> kMagic = {'D', 'M', 'K', 'A'};
constexpr std::size_t kHeaderSize = kMagic.size() + 1;

bool allowed(const nlohmann::json& tree, std::size_t depth) {
  if (depth > KeyedArchive::kMaximumDepth) return false;
  switch (tree.type()) {
    case nlohmann::json::value_t::null:
    case nlohmann::json::value_t::string:
    case nlohmann::json::value_t::boolean:
    case nlohmann::json::value_t::number_integer:
    case nlohmann::json::value_t::number_unsigned:
    case nlohmann::json::value_t::number_float:
      return true;
    case nlohmann::json::value_t::array:
    case nlohmann::json::value_t::object:
      for (const auto& value : tree) {
        if (!allowed(value, depth + 1)) return false;
      }
      return true;
    default:  // binary, discarded
      return false;
  }
}

// Walks the CBOR item heads without recursion and checks that the input is one complete item
// that fits in the bytes and nests no deeper than the limit. The decoder that follows is
// recursive, so this bounds its stack use on hostile input.
bool cborShapeIsSafe(std::span<const std::uint8_t> data) {
  struct Frame {
    std::uint64_t remaining;
    bool indefinite;
  };
  std::vector<Frame> stack;
  std::size_t position = 0;
  while (true) {
    if (position >= data.size()) return false;
    const std::uint8_t initial = data[position++];
    bool complete = false;
    if (initial == 0xFF) {  // "break": ends the innermost indefinite-length item
      if (stack.empty() || !stack.back().indefinite) return false;
      stack.pop_back();
      complete = true;
    } else {
      const unsigned major = initial >> 5;
      const unsigned info = initial & 0x1F;
      std::uint64_t argument = 0;
      bool indefinite = false;
      if (info < 24) {
        argument = info;
      } else if (info <= 27) {
        const std::size_t length = std::size_t{1} << (info - 24);
        if (data.size() - position < length) return false;
        for (std::size_t i = 0; i < length; ++i) argument = (argument << 8) | data[position++];
      } else if (info == 31 && major >= 2 && major <= 5) {
        indefinite = true;
      } else {
        return false;
      }
      switch (major) {
        case 0:
        case 1:
        case 7:
          complete = true;
          break;
        case 2:
        case 3:
          if (indefinite) {
            stack.push_back({0, true});
          } else {
            if (argument > data.size() - position) return false;
            position += static_cast<std::size_t>(argument);
            complete = true;
          }
          break;
        case 4:
        case 5: {
          // Each element needs at least one byte, so a larger count can only be a lie.
          if (!indefinite && argument > data.size()) return false;
          const std::uint64_t items = major == 5 ? argument * 2 : argument;
          if (!indefinite && items == 0) {
            complete = true;
          } else {
            stack.push_back({items, indefinite});
          }
          break;
        }
        case 6:  // a tag prefixes the next item; the decoder refuses tags itself
          break;
      }
      if (stack.size() > KeyedArchive::kMaximumDepth) return false;
    }
    while (complete) {
      if (stack.empty()) return position == data.size();
      if (stack.back().indefinite) break;
      if (--stack.back().remaining > 0) break;
      stack.pop_back();
    }
  }
}

}  // namespace

bool KeyedArchive::holdsOnlyAllowedKinds(const nlohmann::json& tree) {
  return allowed(tree, 0);
}

std::optional<std::vector<std::uint8_t>> KeyedArchive::archivedData(const nlohmann::json& tree) {
  if (!holdsOnlyAllowedKinds(tree)) return std::nullopt;
  std::vector<std::uint8_t> bytes(kMagic.begin(), kMagic.end());
  bytes.push_back(kFormatVersion);
  try {
    nlohmann::json::to_cbor(tree, bytes);
  } catch (const std::exception&) {
    return std::nullopt;
  }
  return bytes;
}

std::optional<nlohmann::json> KeyedArchive::unarchivedObject(std::span<const std::uint8_t> bytes) {
  if (bytes.size() <= kHeaderSize) return std::nullopt;
  if (!std::equal(kMagic.begin(), kMagic.end(), bytes.begin())) return std::nullopt;
  if (bytes[kMagic.size()] != kFormatVersion) return std::nullopt;
  const auto body = bytes.subspan(kHeaderSize);
  if (!cborShapeIsSafe(body)) return std::nullopt;
  nlohmann::json tree;
  try {
    tree = nlohmann::json::from_cbor(body.begin(), body.end(), /*strict=*/true,
                                     /*allow_exceptions=*/false);
  } catch (const std::exception&) {
    return std::nullopt;
  }
  if (tree.is_discarded() || !holdsOnlyAllowedKinds(tree)) return std::nullopt;
  return tree;
}

}  // namespace dm
