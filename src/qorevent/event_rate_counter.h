// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QOREVENT_EVENT_RATE_COUNTER_H
#define QOR_QOREVENT_EVENT_RATE_COUNTER_H

#include <chrono>
#include <cstddef>
#include <cstdint>

#include "src/qorevent/event_hz_info.h"
#include "src/qorevent/interval_window.h"

namespace qor::qorevent {

/// Counts the arrivals of one event. Not synchronised.
class EventRateCounter {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;

  explicit EventRateCounter(std::uint32_t windowSize) : window_(windowSize) {}

  /// One sample of `bytes` payload bytes. The first two samples are warm-up and only set the clock; each later one adds
  /// the interval since the sample before it.
  void Add(TimePoint now, std::size_t bytes);

  /// The figures of the window. Starts the next bandwidth period.
  EventHzInfo Report(TimePoint now);
  /// The figures since the first sample, without losses, which only the subscription knows.
  EventHzTotals Totals() const;

  std::uint64_t SampleCount() const { return samples_; }
  const IntervalWindow& Window() const { return window_; }

 private:
  IntervalWindow window_;
  std::uint32_t warmUpCount_ = 0;
  TimePoint last_{};
  TimePoint first_{};
  std::uint64_t samples_ = 0;
  std::uint64_t bytes_ = 0;
  TimePoint lastReport_{};
  std::uint64_t bytesAtLastReport_ = 0;
};

}  // namespace qor::qorevent

#endif
