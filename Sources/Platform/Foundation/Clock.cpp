// The process-wide clock and the system clock.
#include "Platform/Foundation/Clock.h"

#include <chrono>
#include <mutex>

namespace dm {
namespace {
std::mutex& sharedMutex() {
  static std::mutex mutex;
  return mutex;
}
std::shared_ptr<Clock>& sharedSlot() {
  static std::shared_ptr<Clock> clock = std::make_shared<SystemClock>();
  return clock;
}
}  // namespace

std::shared_ptr<Clock> Clock::shared() {
  std::lock_guard lock(sharedMutex());
  return sharedSlot();
}

void Clock::setShared(std::shared_ptr<Clock> clock) {
  std::lock_guard lock(sharedMutex());
  sharedSlot() = clock ? std::move(clock) : std::make_shared<SystemClock>();
}

Date SystemClock::now() const {
  using namespace std::chrono;
  const auto since = system_clock::now().time_since_epoch();
  return Date(duration<double>(since).count());
}

Date Date::now() { return Clock::shared()->now(); }

}  // namespace dm
