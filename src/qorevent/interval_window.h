// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QOREVENT_INTERVAL_WINDOW_H
#define QOR_QOREVENT_INTERVAL_WINDOW_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace qor::qorevent {

/// The latest intervals between two samples of one event, in microseconds: a queue that drops its oldest entry when it
/// would hold more than its limit. Its memory doubles on the way to the limit and then never changes. Not synchronised.
class IntervalWindow {
 public:
  explicit IntervalWindow(std::uint32_t limit) : limit_(limit) {}

  void Push(std::uint64_t intervalUs);

  std::size_t Size() const { return ring_.size(); }
  bool IsEmpty() const { return ring_.empty(); }

  /// Every interval, in no particular order; valid until the next Push.
  const std::vector<std::uint64_t>& Intervals() const { return ring_; }

 private:
  std::uint32_t limit_;
  std::vector<std::uint64_t> ring_;
  std::size_t oldest_ = 0;  ///< not 0 only when the ring is full
};

/// The arithmetic mean, in microseconds. Not a number for an empty window.
double GetMeanTimes(const IntervalWindow& window);

/// The deviation from `meanUs`, in seconds, with each interval cut to whole seconds first: intervals below one second
/// count as zero. That is how the figure is defined. Not a number for an empty window.
double GetStdDevTimes(double meanUs, const IntervalWindow& window);

/// The standard deviation at full resolution, in seconds. Not a number for an empty window.
double GetJitter(double meanUs, const IntervalWindow& window);

}  // namespace qor::qorevent

#endif
