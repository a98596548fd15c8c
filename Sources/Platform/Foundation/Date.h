// A point in time: seconds since 1970-01-01 00:00:00 UTC, as a double.
#pragma once

#include <compare>

namespace dm {

using TimeInterval = double;

struct Date {
  TimeInterval timeIntervalSince1970 = 0;

  constexpr Date() = default;
  constexpr explicit Date(TimeInterval secondsSince1970) : timeIntervalSince1970(secondsSince1970) {}

  // The current time of the process-wide clock (see Clock.h).
  static Date now();

  constexpr Date addingTimeInterval(TimeInterval seconds) const {
    return Date(timeIntervalSince1970 + seconds);
  }
  constexpr TimeInterval timeIntervalSinceDate(Date other) const {
    return timeIntervalSince1970 - other.timeIntervalSince1970;
  }
  constexpr auto operator<=>(const Date&) const = default;
};

}  // namespace dm
