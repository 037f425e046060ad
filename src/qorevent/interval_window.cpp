// SPDX-License-Identifier: Apache-2.0
#include "src/qorevent/interval_window.h"

#include <cmath>
#include <numeric>

namespace qor::qorevent {
namespace {

constexpr std::uint64_t kMicrosecondsPerSecond = 1'000'000;
constexpr double kSecond = 1e6;

/// Square root of the mean of the squared distances; 0 / 0 for an empty window.
template <class ToSeconds>
double Deviation(double centre, const IntervalWindow& window, ToSeconds toSeconds) {
  double sum = 0.0;
  for (const std::uint64_t interval : window.Intervals()) {
    const double distance = toSeconds(interval) - centre;
    sum += distance * distance;
  }
  return std::sqrt(sum / static_cast<double>(window.Size()));
}

}  // namespace

void IntervalWindow::Push(std::uint64_t intervalUs) {
  if (ring_.size() < limit_) {
    ring_.push_back(intervalUs);
    return;
  }
  if (limit_ == 0) {
    return;
  }
  ring_[oldest_] = intervalUs;
  oldest_ = oldest_ + 1 == ring_.size() ? 0 : oldest_ + 1;
}

double GetMeanTimes(const IntervalWindow& window) {
  const auto& intervals = window.Intervals();
  return std::accumulate(intervals.begin(), intervals.end(), 0.0) / static_cast<double>(intervals.size());
}

double GetStdDevTimes(double meanUs, const IntervalWindow& window) {
  return Deviation(meanUs / kSecond, window,
                   [](std::uint64_t interval) { return static_cast<double>(interval / kMicrosecondsPerSecond); });
}

double GetJitter(double meanUs, const IntervalWindow& window) {
  return Deviation(meanUs / kSecond, window,
                   [](std::uint64_t interval) { return static_cast<double>(interval) / kSecond; });
}

}  // namespace qor::qorevent
