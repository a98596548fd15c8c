// Decodes arbitrary bytes as a keyed archive and as the value of a dictionary or list
// attribute; whatever decodes must archive again and decode to the same tree.
#include <cstddef>
#include <cstdint>
#include <span>

#include "Platform/Foundation/KeyedArchive.h"
#include "Platform/ObjectStore/StructuredValue.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // As a stored dictionary or list attribute: always the tree of that kind, the archived one
  // when it is of that kind, the empty one otherwise.
  const dm::Value stored(dm::Blob(data, data + size));
  const auto dictionary = dm::structureFromValue(stored, dm::AttributeType::Dictionary);
  const auto list = dm::structureFromValue(stored, dm::AttributeType::List);
  if (!dictionary.is_object() || !list.is_array()) __builtin_trap();

  auto tree = dm::KeyedArchive::unarchivedObject(std::span<const std::uint8_t>(data, size));
  if (!tree) {
    if (!dictionary.empty() || !list.empty()) __builtin_trap();
    return 0;
  }
  if (!tree->is_object() && !dictionary.empty()) __builtin_trap();
  if (!tree->is_array() && !list.empty()) __builtin_trap();
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
