// Decoding the alternatives kept with a diet line.
#include "Nutrition/DietProductAlternativeEntity.h"

#include <cmath>
#include <stdexcept>
#include <string>

#include <nlohmann/json.hpp>

#include "Platform/Foundation/DictionaryListDecoding.h"
#include "Platform/Foundation/Error.h"
#include "Platform/Foundation/KeyedArchive.h"
#include "Platform/Foundation/Logger.h"

namespace dm {

std::vector<DietProductAlternativeEntity> DietProductAlternativeEntity::parseFromData(
    std::span<const std::uint8_t> data) {
  std::vector<DietProductAlternativeEntity> result;
  try {
    auto tree = KeyedArchive::unarchivedObject(data);
    if (!tree) throw Error(ErrorCode::InvalidInput, "the data is no keyed archive");
    // Re-serialised as JSON text and decoded from that, as any server list would be.
    auto list = nlohmann::json::parse(tree->dump());
    result = decodeDictionaryList<DietProductAlternativeEntity>(list, [](const auto& element) {
      DietProductAlternativeEntity alternative;
      alternative.postProductId = requiredIntegerMember(element, "post_product_id");
      alternative.productPortion = requiredFloatMember(element, "product_portion");
      return alternative;
    });
  } catch (const std::exception& error) {
    debugOutput(std::string("Failed to load DietProductAlternativeEntity: ") + error.what());
    return {};
  }
  return result;
}

}  // namespace dm
