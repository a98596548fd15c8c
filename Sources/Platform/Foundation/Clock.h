// The source of the current time, replaceable so tests can set it.
#pragma once

#include <atomic>
#include <memory>

#include "Platform/Foundation/Date.h"

namespace dm {

class Clock {
 public:
  virtual ~Clock() = default;
  virtual Date now() const = 0;

  // The process-wide clock (the system clock unless replaced). Thread-safe.
  static std::shared_ptr<Clock> shared();
  // Replaces the process-wide clock; nullptr restores the system clock.
  static void setShared(std::shared_ptr<Clock> clock);
};

class SystemClock final : public Clock {
 public:
  Date now() const override;
};

// A clock that says what the test tells it. Thread-safe.
class FixedClock final : public Clock {
 public:
  explicit FixedClock(Date date = Date()) : seconds_(date.timeIntervalSince1970) {}
  Date now() const override { return Date(seconds_.load()); }
  void set(Date date) { seconds_.store(date.timeIntervalSince1970); }
  void advance(TimeInterval seconds) { seconds_.store(seconds_.load() + seconds); }

 private:
  std::atomic<double> seconds_;
};

}  // namespace dm
