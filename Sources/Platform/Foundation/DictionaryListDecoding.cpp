// Required members of stored dictionaries, read strictly.
#include "Platform/Foundation/DictionaryListDecoding.h"

#include <cmath>
#include <limits>

namespace dm {

namespace {
const nlohmann::json& member(const nlohmann::json& element, const char* key) {
  auto it = element.find(key);
  if (it == element.end())
    throw Error(ErrorCode::InvalidInput, std::string("missing key \"") + key + "\"");
  return *it;
}
}  // namespace

std::int64_t requiredIntegerMember(const nlohmann::json& element, const char* key) {
  const auto& value = member(element, key);
  if (value.is_number_integer()) {
    if (value.is_number_unsigned() &&
        value.get<std::uint64_t>() >
            static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()))
      throw Error(ErrorCode::InvalidInput, std::string("\"") + key + "\" is out of range");
    return value.get<std::int64_t>();
  }
  if (value.is_number_float()) {
    double d = value.get<double>();
    if (std::trunc(d) == d && std::fabs(d) < 9.2e18) return static_cast<std::int64_t>(d);
  }
  throw Error(ErrorCode::InvalidInput, std::string("\"") + key + "\" is not an integer");
}

float requiredFloatMember(const nlohmann::json& element, const char* key) {
  const auto& value = member(element, key);
  if (!value.is_number())
    throw Error(ErrorCode::InvalidInput, std::string("\"") + key + "\" is not a number");
  return static_cast<float>(value.get<double>());
}

}  // namespace dm
