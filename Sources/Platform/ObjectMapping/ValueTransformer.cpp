// Value transformation rules and the server date-time format.
#include "Platform/ObjectMapping/ValueTransformer.h"

// GCC 12 reports a false -Wfree-nonheap-object when a temporary Value holding the empty
// alternative is destroyed after being inlined into these switches.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wfree-nonheap-object"
#endif

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

namespace dm {
namespace {

bool integerInRange(std::int64_t v, FieldKind kind) {
  switch (kind) {
    case FieldKind::Integer16:
      return v >= std::numeric_limits<std::int16_t>::min() &&
             v <= std::numeric_limits<std::int16_t>::max();
    case FieldKind::Integer32:
      return v >= std::numeric_limits<std::int32_t>::min() &&
             v <= std::numeric_limits<std::int32_t>::max();
    default:
      return true;
  }
}

// An integral real inside the int64 range.
std::optional<std::int64_t> integralReal(double d) {
  if (!std::isfinite(d) || std::trunc(d) != d) return std::nullopt;
  if (d < -9223372036854775808.0 || d >= 9223372036854775808.0) return std::nullopt;
  return static_cast<std::int64_t>(d);
}

std::optional<double> parseReal(std::string_view text) {
  double d = 0;
  auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), d);
  if (ec != std::errc() || end != text.data() + text.size() || !std::isfinite(d)) {
    return std::nullopt;
  }
  return d;
}

std::optional<Value> toInteger(const JsonScalar& s, FieldKind kind, std::string& reason) {
  std::optional<std::int64_t> result;
  switch (s.type) {
    case JsonScalar::Type::Integer:
      result = s.integer;
      break;
    case JsonScalar::Type::Unsigned:
      reason = "integer out of range";
      return std::nullopt;
    case JsonScalar::Type::Real:
      result = integralReal(s.real);
      if (!result) {
        reason = std::isfinite(s.real) ? "not an integral number" : "not a finite number";
        return std::nullopt;
      }
      break;
    case JsonScalar::Type::Boolean:
      result = s.boolean ? 1 : 0;
      break;
    case JsonScalar::Type::String: {
      if (s.text.empty()) return Value();
      std::int64_t v = 0;
      auto [end, ec] = std::from_chars(s.text.data(), s.text.data() + s.text.size(), v);
      if (ec == std::errc() && end == s.text.data() + s.text.size()) {
        result = v;
      } else if (ec == std::errc::result_out_of_range) {
        reason = "integer out of range";
        return std::nullopt;
      } else if (auto d = parseReal(s.text)) {
        result = integralReal(*d);
      }
      if (!result) {
        reason = "text is not an integer";
        return std::nullopt;
      }
      break;
    }
    default:
      reason = "expected an integer";
      return std::nullopt;
  }
  if (!integerInRange(*result, kind)) {
    reason = "integer out of range";
    return std::nullopt;
  }
  return Value(static_cast<long long>(*result));
}

std::optional<Value> toReal(const JsonScalar& s, std::string& reason) {
  switch (s.type) {
    case JsonScalar::Type::Integer:
      return Value(static_cast<double>(s.integer));
    case JsonScalar::Type::Unsigned:
      return Value(static_cast<double>(s.unsignedInteger));
    case JsonScalar::Type::Real:
      if (!std::isfinite(s.real)) break;
      return Value(s.real);
    case JsonScalar::Type::Boolean:
      return Value(s.boolean ? 1.0 : 0.0);
    case JsonScalar::Type::String:
      if (s.text.empty()) return Value();
      if (auto d = parseReal(s.text)) return Value(*d);
      reason = "text is not a number";
      return std::nullopt;
    default:
      reason = "expected a number";
      return std::nullopt;
  }
  reason = "not a finite number";
  return std::nullopt;
}

std::optional<Value> toNumber(const JsonScalar& s, std::string& reason) {
  switch (s.type) {
    case JsonScalar::Type::Integer:
      return Value(static_cast<long long>(s.integer));
    case JsonScalar::Type::Boolean:
      return Value(static_cast<long long>(s.boolean ? 1 : 0));
    case JsonScalar::Type::String: {
      std::int64_t v = 0;
      auto [end, ec] = std::from_chars(s.text.data(), s.text.data() + s.text.size(), v);
      if (!s.text.empty() && ec == std::errc() && end == s.text.data() + s.text.size()) {
        return Value(static_cast<long long>(v));
      }
      return toReal(s, reason);
    }
    default:
      return toReal(s, reason);
  }
}

std::optional<Value> toBoolean(const JsonScalar& s, std::string& reason) {
  switch (s.type) {
    case JsonScalar::Type::Boolean:
      return Value(s.boolean);
    case JsonScalar::Type::Integer:
      if (s.integer == 0 || s.integer == 1) return Value(s.integer == 1);
      break;
    case JsonScalar::Type::Real:
      if (s.real == 0.0 || s.real == 1.0) return Value(s.real == 1.0);
      break;
    case JsonScalar::Type::String:
      if (s.text.empty()) return Value();
      if (s.text == "true" || s.text == "1") return Value(true);
      if (s.text == "false" || s.text == "0") return Value(false);
      reason = "text is not a boolean";
      return std::nullopt;
    default:
      break;
  }
  reason = "expected a boolean";
  return std::nullopt;
}

std::optional<Value> toText(const JsonScalar& s, std::string& reason) {
  char buffer[32];
  switch (s.type) {
    case JsonScalar::Type::String:
      return Value(std::string(s.text));
    case JsonScalar::Type::Integer:
      return Value(std::to_string(s.integer));
    case JsonScalar::Type::Unsigned:
      return Value(std::to_string(s.unsignedInteger));
    case JsonScalar::Type::Real: {
      if (!std::isfinite(s.real)) break;
      auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, s.real);
      return Value(std::string(buffer, ec == std::errc() ? end : buffer));
    }
    case JsonScalar::Type::Boolean:
      return Value(std::string(s.boolean ? "true" : "false"));
    default:
      break;
  }
  reason = "expected a text";
  return std::nullopt;
}

std::optional<Value> toDate(const JsonScalar& s, std::string& reason) {
  switch (s.type) {
    case JsonScalar::Type::Integer:
      return Value(Date(static_cast<double>(s.integer)));
    case JsonScalar::Type::Real:
      if (!std::isfinite(s.real)) break;
      return Value(Date(s.real));
    case JsonScalar::Type::String:
      if (s.text.empty()) return Value();
      if (auto date = parseServerDate(s.text)) return Value(*date);
      reason = "text is not a date";
      return std::nullopt;
    default:
      break;
  }
  reason = "expected a date";
  return std::nullopt;
}

// Days since 1970-01-01 of a proleptic Gregorian date.
std::int64_t daysFromCivil(std::int64_t y, unsigned m, unsigned d) {
  y -= m <= 2;
  const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
  const unsigned yoe = static_cast<unsigned>(y - era * 400);
  const unsigned doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + static_cast<std::int64_t>(doe) - 719468;
}

void civilFromDays(std::int64_t z, std::int64_t& y, unsigned& m, unsigned& d) {
  z += 719468;
  const std::int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const unsigned doe = static_cast<unsigned>(z - era * 146097);
  const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const unsigned mp = (5 * doy + 2) / 153;
  d = doy - (153 * mp + 2) / 5 + 1;
  m = mp < 10 ? mp + 3 : mp - 9;
  y = static_cast<std::int64_t>(yoe) + era * 400 + (m <= 2);
}

unsigned daysInMonth(std::int64_t y, unsigned m) {
  static constexpr unsigned kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
  return m == 2 && leap ? 29 : kDays[m - 1];
}

// Reads exactly `count` digits at `pos`.
bool digits(std::string_view text, std::size_t& pos, std::size_t count, unsigned& out) {
  if (pos + count > text.size()) return false;
  out = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const char c = text[pos + i];
    if (c < '0' || c > '9') return false;
    out = out * 10 + static_cast<unsigned>(c - '0');
  }
  pos += count;
  return true;
}

bool expect(std::string_view text, std::size_t& pos, char c) {
  if (pos >= text.size() || text[pos] != c) return false;
  ++pos;
  return true;
}

std::optional<Value> toBytes(std::string_view text) {
  Blob bytes(text.size());
  std::copy(text.begin(), text.end(), bytes.begin());
  return Value(std::move(bytes));
}

constexpr const char kBase64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

}  // namespace

FieldKind fieldKindFor(AttributeType type) {
  switch (type) {
    case AttributeType::Integer16:
      return FieldKind::Integer16;
    case AttributeType::Integer32:
      return FieldKind::Integer32;
    case AttributeType::Integer64:
      return FieldKind::Integer64;
    case AttributeType::Double:
      return FieldKind::Double;
    case AttributeType::Float:
      return FieldKind::Float;
    case AttributeType::Boolean:
      return FieldKind::Boolean;
    case AttributeType::String:
      return FieldKind::String;
    case AttributeType::Date:
      return FieldKind::Date;
    case AttributeType::Binary:
      return FieldKind::Binary;
    case AttributeType::Dictionary:
      return FieldKind::Dictionary;
    case AttributeType::List:
      return FieldKind::List;
  }
  return FieldKind::Tree;
}

const char* fieldKindName(FieldKind kind) {
  switch (kind) {
    case FieldKind::Integer16:
      return "16-bit integer";
    case FieldKind::Integer32:
      return "32-bit integer";
    case FieldKind::Integer64:
      return "integer";
    case FieldKind::Double:
    case FieldKind::Float:
      return "real";
    case FieldKind::Boolean:
      return "boolean";
    case FieldKind::String:
      return "text";
    case FieldKind::Date:
      return "date";
    case FieldKind::Binary:
      return "bytes";
    case FieldKind::Number:
      return "number";
    case FieldKind::Tree:
      return "JSON value";
    case FieldKind::Dictionary:
      return "dictionary";
    case FieldKind::List:
      return "list";
  }
  return "value";
}

std::optional<Value> transformValue(const JsonScalar& scalar, FieldKind kind, std::string& reason) {
  if (scalar.type == JsonScalar::Type::Null) return Value();
  switch (kind) {
    case FieldKind::Integer16:
    case FieldKind::Integer32:
    case FieldKind::Integer64:
      return toInteger(scalar, kind, reason);
    case FieldKind::Double:
    case FieldKind::Float:
      return toReal(scalar, reason);
    case FieldKind::Number:
      return toNumber(scalar, reason);
    case FieldKind::Boolean:
      return toBoolean(scalar, reason);
    case FieldKind::String:
      return toText(scalar, reason);
    case FieldKind::Date:
      return toDate(scalar, reason);
    case FieldKind::Binary:
      if (scalar.type == JsonScalar::Type::String) return toBytes(scalar.text);
      reason = "expected a text";
      return std::nullopt;
    case FieldKind::Tree:
      break;
    case FieldKind::Dictionary:
      reason = "expected a dictionary";
      return std::nullopt;
    case FieldKind::List:
      reason = "expected a list";
      return std::nullopt;
  }
  reason = "a JSON tree is not a scalar";
  return std::nullopt;
}

std::optional<Date> parseServerDate(std::string_view text) {
  std::size_t pos = 0;
  unsigned year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
  if (!digits(text, pos, 4, year) || !expect(text, pos, '-') || !digits(text, pos, 2, month) ||
      !expect(text, pos, '-') || !digits(text, pos, 2, day)) {
    return std::nullopt;
  }
  if (month < 1 || month > 12 || day < 1 || day > daysInMonth(year, month)) return std::nullopt;
  double fraction = 0;
  int offsetSeconds = 0;
  if (pos < text.size()) {
    if (text[pos] != 'T' && text[pos] != 't' && text[pos] != ' ') return std::nullopt;
    ++pos;
    if (!digits(text, pos, 2, hour) || !expect(text, pos, ':') || !digits(text, pos, 2, minute)) {
      return std::nullopt;
    }
    if (pos < text.size() && text[pos] == ':') {
      ++pos;
      if (!digits(text, pos, 2, second)) return std::nullopt;
      if (pos < text.size() && (text[pos] == '.' || text[pos] == ',')) {
        ++pos;
        double scale = 0.1;
        const std::size_t start = pos;
        while (pos < text.size() && text[pos] >= '0' && text[pos] <= '9') {
          fraction += (text[pos] - '0') * scale;
          scale /= 10;
          ++pos;
        }
        if (pos == start) return std::nullopt;
      }
    }
    if (hour > 23 || minute > 59 || second > 60) return std::nullopt;
    if (pos < text.size()) {
      const char sign = text[pos];
      if (sign == 'Z' || sign == 'z') {
        ++pos;
      } else if (sign == '+' || sign == '-') {
        ++pos;
        unsigned oh = 0, om = 0;
        if (!digits(text, pos, 2, oh)) return std::nullopt;
        if (pos < text.size() && text[pos] == ':') ++pos;
        if (pos < text.size() && !digits(text, pos, 2, om)) return std::nullopt;
        if (oh > 23 || om > 59) return std::nullopt;
        offsetSeconds = static_cast<int>(oh * 3600 + om * 60) * (sign == '-' ? -1 : 1);
      } else {
        return std::nullopt;
      }
    }
  }
  if (pos != text.size()) return std::nullopt;
  const std::int64_t days = daysFromCivil(year, month, day);
  const double seconds =
      static_cast<double>(days * 86400 + hour * 3600 + minute * 60 + second - offsetSeconds) +
      fraction;
  return Date(seconds);
}

std::string formatServerDate(Date date) {
  const double t = date.timeIntervalSince1970;
  if (!std::isfinite(t)) return "";
  std::int64_t millis = static_cast<std::int64_t>(std::llround(t * 1000.0));
  std::int64_t secs = millis >= 0 ? millis / 1000 : -((-millis + 999) / 1000);
  const int ms = static_cast<int>(millis - secs * 1000);
  std::int64_t days = secs >= 0 ? secs / 86400 : -((-secs + 86399) / 86400);
  const std::int64_t rem = secs - days * 86400;
  std::int64_t y = 0;
  unsigned m = 0, d = 0;
  civilFromDays(days, y, m, d);
  char buffer[48];
  int n = std::snprintf(buffer, sizeof buffer, "%04lld-%02u-%02uT%02d:%02d:%02d",
                        static_cast<long long>(y), m, d, static_cast<int>(rem / 3600),
                        static_cast<int>(rem / 60 % 60), static_cast<int>(rem % 60));
  std::string out(buffer, static_cast<std::size_t>(n));
  if (ms != 0) {
    std::snprintf(buffer, sizeof buffer, ".%03d", ms);
    out += buffer;
  }
  out += 'Z';
  return out;
}

nlohmann::json jsonFromValue(const Value& value) {
  const auto& storage = value.storage();
  switch (storage.index()) {
    case 1:
      return std::get<bool>(storage);
    case 2:
      return std::get<std::int64_t>(storage);
    case 3: {
      const double d = std::get<double>(storage);
      return std::isfinite(d) ? nlohmann::json(d) : nlohmann::json();
    }
    case 4:
      return std::get<std::string>(storage);
    case 5:
      return formatServerDate(std::get<Date>(storage));
    case 6: {
      const Blob& bytes = std::get<Blob>(storage);
      std::string out;
      out.reserve((bytes.size() + 2) / 3 * 4);
      for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const std::uint32_t n = (std::uint32_t(bytes[i]) << 16) |
                                (i + 1 < bytes.size() ? std::uint32_t(bytes[i + 1]) << 8 : 0) |
                                (i + 2 < bytes.size() ? std::uint32_t(bytes[i + 2]) : 0);
        out += kBase64[(n >> 18) & 63];
        out += kBase64[(n >> 12) & 63];
        out += i + 1 < bytes.size() ? kBase64[(n >> 6) & 63] : '=';
        out += i + 2 < bytes.size() ? kBase64[n & 63] : '=';
      }
      return out;
    }
    default:
      return nullptr;
  }
}

}  // namespace dm
