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
  // Compared as text: NaN never equals itself, but prints the same.
  if (!back || back->dump() != tree->dump()) __builtin_trap();
  return 0;
}
