// An ingredient of a handbook food product: which product, how much of it.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "Platform/ObjectStore/Value.h"

namespace dm {

class HandbookPostProductEntity;

// A plain value. `handbookPost` is not owned: it belongs to the context of the product whose
// `ingredients` resolved it, and is valid on that context's queue only.
struct IngredientEntity {
  std::int64_t postProductId = 0;  // "post_product_id"
  float weight = 0;                // "weight"
  HandbookPostProductEntity* handbookPost = nullptr;

  // Decodes a JSON array of {"post_product_id": integer, "weight": number}. All or nothing:
  // malformed JSON, a non-array, or any element lacking a key or holding a wrong type gives
  // the empty list and writes "Failed to load IngredientEntity: " + the reason to the debug
  // output. Any thread.
  static std::vector<IngredientEntity> parseFromData(std::span<const std::uint8_t> data);
  // parseFromData of the bytes, or the empty list when there are none.
  static std::vector<IngredientEntity> parseFromDataObjc(const std::optional<Blob>& data);
};

}  // namespace dm
