// Decodes arbitrary bytes as a keyed archive; whatever decodes must archive again and
// decode to the same tree.
#include <cstddef>
#include <cstdint>
#include <span>

#include "Platform/Foundation/KeyedArchive.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  auto tree = dm::KeyedArchive::unarchivedObject(std::span<const std::uint8_t>(data, size));
  if (!tree) return 0;
  if (!dm::KeyedArchive::holdsOnlyAllowedKinds(*tree)) __builtin_trap();
  auto again = dm::KeyedArchive::archivedData(*tree);
  if (!again) __builtin_trap();
  auto back = dm::KeyedArchive::unarchivedObject(*again);
  // Compared as text too: NaN never equals itself, but prints the same. Texts need not be
  // UTF-8, so the printing replaces what is not.
  const auto text = [](const nlohmann::json& json) {
    return json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
  };
  if (!back || (*back != *tree && text(*back) != text(*tree))) __builtin_trap();
  return 0;
}
