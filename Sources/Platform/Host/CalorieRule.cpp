// The default calorie rule and the process-wide rule.
#include "Platform/Host/CalorieRule.h"

#include <cmath>
#include <mutex>

namespace dm {
namespace {
std::mutex gSharedMutex;
std::shared_ptr<CalorieRule> gShared;  // guarded by gSharedMutex; null: the default
}  // namespace

double CalorieRule::getRealCalories(double calories, double calculatedCalories) const {
  if (std::isfinite(calories) && calories >= 1) return calories;
  if (std::isfinite(calculatedCalories) && calculatedCalories > 0) return calculatedCalories;
  return 0;
}

std::shared_ptr<CalorieRule> CalorieRule::shared() {
  std::lock_guard lock(gSharedMutex);
  if (!gShared) gShared = std::make_shared<CalorieRule>();
  return gShared;
}

void CalorieRule::setShared(std::shared_ptr<CalorieRule> rule) {
  std::lock_guard lock(gSharedMutex);
  gShared = std::move(rule);
}

}  // namespace dm
