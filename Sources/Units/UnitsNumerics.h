// Saturating conversions of floating-point values to integers, shared by the units code.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>

namespace dm::units_detail {

// Truncates toward zero into an unsigned integer; negatives and NaN give 0 and values beyond
// the range give the maximum (what the devices' converting instructions do, without the
// undefined behaviour of a plain cast).
inline std::uint64_t truncateToUnsigned(double value) {
  if (!(value > 0)) return 0;
  if (value >= 18446744073709551616.0) return std::numeric_limits<std::uint64_t>::max();
  return static_cast<std::uint64_t>(value);
}

// Truncates toward zero into a signed 32-bit integer, saturating at the limits; NaN gives 0.
inline std::int32_t truncateToInt32(float value) {
  if (std::isnan(value)) return 0;
  if (value >= 2147483648.0f) return std::numeric_limits<std::int32_t>::max();
  if (value <= -2147483648.0f) return std::numeric_limits<std::int32_t>::min();
  return static_cast<std::int32_t>(value);
}

// An absent number reads as 0; present ones are narrowed to single precision as the screens
// read them.
inline float floatValue(const std::optional<double>& number) {
  return static_cast<float>(number.value_or(0.0));
}

}  // namespace dm::units_detail
