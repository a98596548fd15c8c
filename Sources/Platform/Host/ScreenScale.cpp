// The process-wide screen scale.
#include "Platform/Host/ScreenScale.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <mutex>
#include <stdexcept>
#include <string>

#include "Platform/Foundation/Error.h"

namespace dm {
namespace {
std::mutex gSharedMutex;
std::shared_ptr<ScreenScale> gShared;  // guarded by gSharedMutex; null: the default
}  // namespace

int ScreenScale::wholeScale() const {
  const double value = scale();
  if (!(value >= 1.0)) return 1;  // NaN included
  return static_cast<int>(std::min(value, static_cast<double>(std::numeric_limits<int>::max())));
}

std::shared_ptr<ScreenScale> ScreenScale::shared() {
  std::lock_guard lock(gSharedMutex);
  if (!gShared) gShared = std::make_shared<FixedScreenScale>();
  return gShared;
}

void ScreenScale::setShared(std::shared_ptr<ScreenScale> scale) {
  std::lock_guard lock(gSharedMutex);
  gShared = std::move(scale);
}

FixedScreenScale::FixedScreenScale(double scale) : scale_(scale) {
  if (!std::isfinite(scale) || scale <= 0)
    throw Error(ErrorCode::InvalidInput,
                "screen scale " + std::to_string(scale) + " is not a positive number");
}

}  // namespace dm
