// Conversions and comparisons of attribute values.
#include "Platform/Foundation/Date.h"
#include "Platform/ObjectStore/Value.h"

#include <cmath>
#include <cstdio>

namespace dm {
namespace {
const std::string kEmptyString;
const Blob kEmptyBlob;

// 0 null, 1 number-like, 2 text, 3 bytes.
int rank(const Value& v) {
  if (v.isNull()) return 0;
  if (v.isNumber() || v.isDate()) return 1;
  if (v.isString()) return 2;
  return 3;
}

int compareIntegerWithDouble(std::int64_t i, double d) {
  if (std::isnan(d)) return 0;
  if (d < -9.2233720368547758e18) return 1;
  if (d >= 9.2233720368547758e18) return -1;
  const auto whole = static_cast<std::int64_t>(d);  // exact: |d| < 2^63
  if (i != whole) return i < whole ? -1 : 1;
  const double fraction = d - static_cast<double>(whole);
  return fraction > 0 ? -1 : (fraction < 0 ? 1 : 0);
}
}  // namespace

std::int64_t Value::asInt64() const {
  if (auto* i = std::get_if<std::int64_t>(&storage_)) return *i;
  if (auto* b = std::get_if<bool>(&storage_)) return *b ? 1 : 0;
  if (auto* d = std::get_if<double>(&storage_)) {
    if (!std::isfinite(*d)) return 0;
    if (*d >= 9.2233720368547758e18) return INT64_MAX;
    if (*d <= -9.2233720368547758e18) return INT64_MIN;
    return static_cast<std::int64_t>(*d);
  }
  if (auto* t = std::get_if<Date>(&storage_)) return static_cast<std::int64_t>(t->timeIntervalSince1970);
  return 0;
}

double Value::asDouble() const {
  if (auto* d = std::get_if<double>(&storage_)) return *d;
  if (auto* i = std::get_if<std::int64_t>(&storage_)) return static_cast<double>(*i);
  if (auto* b = std::get_if<bool>(&storage_)) return *b ? 1.0 : 0.0;
  if (auto* t = std::get_if<Date>(&storage_)) return t->timeIntervalSince1970;
  return 0;
}

const std::string& Value::asString() const {
  if (auto* s = std::get_if<std::string>(&storage_)) return *s;
  return kEmptyString;
}

Date Value::asDate() const {
  if (auto* t = std::get_if<Date>(&storage_)) return *t;
  return Date(asDouble());
}

const Blob& Value::asBlob() const {
  if (auto* b = std::get_if<Blob>(&storage_)) return *b;
  return kEmptyBlob;
}

bool operator==(const Value& a, const Value& b) { return rank(a) == rank(b) && Value::compare(a, b) == 0; }

int Value::compare(const Value& a, const Value& b) {
  const int ra = rank(a), rb = rank(b);
  if (ra != rb) return ra < rb ? -1 : 1;
  switch (ra) {
    case 0: return 0;
    case 1: {
      // Compare integers exactly when both are integers; doubles otherwise.
      if ((a.isInteger() || a.isBool()) && (b.isInteger() || b.isBool())) {
        const auto x = a.asInt64(), y = b.asInt64();
        return x < y ? -1 : (x > y ? 1 : 0);
      }
      // An integer against a double is compared exactly: converting a large integer to
      // double would round it.
      if (a.isInteger() || a.isBool()) return compareIntegerWithDouble(a.asInt64(), b.asDouble());
      if (b.isInteger() || b.isBool()) return -compareIntegerWithDouble(b.asInt64(), a.asDouble());
      const double x = a.asDouble(), y = b.asDouble();
      return x < y ? -1 : (x > y ? 1 : 0);
    }
    case 2: {
      const int c = a.asString().compare(b.asString());
      return c < 0 ? -1 : (c > 0 ? 1 : 0);
    }
    default: {
      const auto& x = a.asBlob();
      const auto& y = b.asBlob();
      if (x == y) return 0;
      return x < y ? -1 : 1;
    }
  }
}

std::string Value::description() const {
  if (isNull()) return "null";
  if (isBool()) return asInt64() ? "true" : "false";
  if (isInteger()) return std::to_string(asInt64());
  if (isDouble() || isDate()) {
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%.17g", asDouble());
    return buffer;
  }
  if (isString()) return "\"" + asString() + "\"";
  return "<" + std::to_string(asBlob().size()) + " bytes>";
}

}  // namespace dm
