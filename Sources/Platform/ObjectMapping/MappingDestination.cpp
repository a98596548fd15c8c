// Identity-key hashing and the defaults of MappingDestination.
#include "Platform/ObjectMapping/MappingDestination.h"

#include <cmath>
#include <stdexcept>

namespace dm {

std::size_t IdentityKeyHash::hashValue(const Value& value) {
  if (value.isNull()) return 0x9e3779b9u;
  if (value.isInteger() || value.isBool()) return std::hash<std::int64_t>()(value.asInt64());
  if (value.isDouble() || value.isDate()) {
    const double d = value.asDouble();
    // Integral reals hash like the integer they equal.
    if (std::trunc(d) == d && d >= -9.2e18 && d <= 9.2e18) {
      return std::hash<std::int64_t>()(static_cast<std::int64_t>(d));
    }
    return std::hash<double>()(d);
  }
  if (value.isString()) return std::hash<std::string>()(value.asString());
  const Blob& bytes = value.asBlob();
  return std::hash<std::string_view>()(
      std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

std::size_t IdentityKeyHash::operator()(const IdentityKey& key) const {
  std::size_t h = key.size();
  for (const auto& value : key) h = h * 1000003u ^ hashValue(value);
  return h;
}

bool IdentityKeyEqual::operator()(const IdentityKey& a, const IdentityKey& b) const {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (!(a[i] == b[i])) return false;
  }
  return true;
}

bool MappingDestination::hasObjects(ClassId) {
  return true;
}

void MappingDestination::setTree(ObjectRef, FieldId, nlohmann::json) {
  throw std::logic_error("this destination has no JSON tree fields");
}

}  // namespace dm
