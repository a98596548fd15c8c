// An alternative product offered for a diet line, decoded from the line's stored list.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace dm {

class HandbookPostProductEntity;

// A plain value. `handbook` is not owned: it belongs to the handbook context of the diet
// that resolved it and is valid on that context's queue only.
struct DietProductAlternativeEntity {
  std::int64_t postProductId = 0;  // "post_product_id"
  float productPortion = 0;        // "product_portion"
  HandbookPostProductEntity* handbook = nullptr;

  // Decodes a keyed archive of a list of {"post_product_id": integer, "product_portion":
  // number}. All or nothing: bytes that are no archive, a non-list, or any element lacking a
  // key or holding a wrong type give the empty list and write "Failed to load
  // DietProductAlternativeEntity: " + the reason to the debug output. Any thread.
  static std::vector<DietProductAlternativeEntity> parseFromData(
      std::span<const std::uint8_t> data);
};

}  // namespace dm
