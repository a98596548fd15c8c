// How a workout's measured calories and the calories computed on the device combine into the
// calories shown: a host hook with a documented default.
#pragma once

#include <memory>

namespace dm {

// Implementations must be callable from any thread.
class CalorieRule {
 public:
  virtual ~CalorieRule() = default;
  // Kilocalories to show for a workout whose user- or device-measured value is `calories`
  // (0 when none) and whose value computed on the device is `calculatedCalories`.
  //
  // Default: a measurement of at least 1 kcal wins, since a sensor or the user knows better
  // than an estimate; otherwise the calculated value when it is positive; otherwise 0.
  // Values that are not finite numbers count as absent.
  virtual double getRealCalories(double calories, double calculatedCalories) const;

  // The process-wide rule (the default unless the host installed its own). Any thread.
  static std::shared_ptr<CalorieRule> shared();
  // Replaces the process-wide rule; nullptr restores the default.
  static void setShared(std::shared_ptr<CalorieRule> rule);
};

}  // namespace dm
