// The video instruction value of exercise posts.
#include "Handbook/Entities/HandbookVideoInstructionEntity.h"

namespace dm {

HandbookVideoInstructionEntity HandbookVideoInstructionEntity::fromDictionary(
    const nlohmann::json& dictionary) {
  HandbookVideoInstructionEntity result;
  if (!dictionary.is_object()) return result;
  result.dict = dictionary;
  for (auto it = dictionary.begin(); it != dictionary.end(); ++it)
    if (!it->is_null()) result.list[it.key()] = *it;
  return result;
}

}  // namespace dm
