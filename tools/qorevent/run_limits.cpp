// SPDX-License-Identifier: Apache-2.0
#include "tools/qorevent/run_limits.h"

#include <algorithm>

namespace qor::tools {
namespace {

RunLimits::Clock::duration ToDuration(double timeInSeconds) {
  return std::chrono::duration_cast<RunLimits::Clock::duration>(std::chrono::duration<double>(timeInSeconds));
}

}  // namespace

RunLimits::RunLimits(const ReceiveOptions& options) : duration_(ToDuration(options.duration)) {
  if (options.timeout > 0.0) {
    timeoutEnd_ = start_ + ToDuration(options.timeout);
  }
}

void RunLimits::Begin() {
  if (duration_ > Clock::duration::zero()) {
    durationEnd_ = Clock::now() + duration_;
  }
}

bool RunLimits::IsOver(bool hasData) const {
  const auto now = Clock::now();
  return (durationEnd_.has_value() && now >= *durationEnd_) ||
         (timeoutEnd_.has_value() && !hasData && now >= *timeoutEnd_);
}

RunLimits::Clock::time_point RunLimits::Next(Clock::time_point latest, bool hasData) const {
  latest = std::min(latest, durationEnd_.value_or(latest));
  return hasData ? latest : std::min(latest, timeoutEnd_.value_or(latest));
}

std::chrono::milliseconds RunLimits::Until(Clock::time_point end) {
  return std::chrono::ceil<std::chrono::milliseconds>(std::max(end - Clock::now(), Clock::duration::zero()));
}

}  // namespace qor::tools
