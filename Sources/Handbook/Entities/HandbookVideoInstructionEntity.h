// The video instruction of an exercise post, as a transient value.
#pragma once

#include <nlohmann/json.hpp>

namespace dm {

// A plain value; copy freely between threads.
struct HandbookVideoInstructionEntity {
  nlohmann::json dict = nlohmann::json::object();  // as unarchived
  nlohmann::json list = nlohmann::json::object();  // dict without its null entries

  // Wraps a dictionary; anything that is not a dictionary gives two empty dictionaries.
  static HandbookVideoInstructionEntity fromDictionary(const nlohmann::json& dictionary);
};

}  // namespace dm
