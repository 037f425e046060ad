// SPDX-License-Identifier: Apache-2.0
#include "src/qorevent/event_rate_counter.h"

#include <algorithm>
#include <limits>

namespace qor::qorevent {
namespace {

constexpr std::uint32_t kWarmUpSamples = 2;
constexpr double kSecond = 1e6;
constexpr double kNotANumber = std::numeric_limits<double>::quiet_NaN();

double SecondsBetween(EventRateCounter::TimePoint from, EventRateCounter::TimePoint to) {
  return std::chrono::duration<double>(to - from).count();
}

}  // namespace

void EventRateCounter::Add(TimePoint now, std::size_t bytes) {
  if (warmUpCount_ >= kWarmUpSamples) {
    const std::int64_t elapsedNs = std::chrono::duration_cast<std::chrono::nanoseconds>(now - last_).count();
    window_.Push(static_cast<std::uint64_t>(elapsedNs / 1000));
  } else {
    ++warmUpCount_;
  }
  last_ = now;
  if (samples_ == 0) {
    first_ = now;
  }
  ++samples_;
  bytes_ += bytes;
}

EventHzInfo EventRateCounter::Report(TimePoint now) {
  EventHzInfo info;
  const double mean = GetMeanTimes(window_);
  const auto& intervals = window_.Intervals();
  const auto [shortest, longest] = std::minmax_element(intervals.begin(), intervals.end());
  info.rate = kSecond / mean;
  info.minInterval = window_.IsEmpty() ? kNotANumber : static_cast<double>(*shortest) / kSecond;
  info.maxInterval = window_.IsEmpty() ? kNotANumber : static_cast<double>(*longest) / kSecond;
  info.stdDev = GetStdDevTimes(mean, window_);
  info.windowSize = static_cast<std::uint32_t>(window_.Size());
  info.jitter = GetJitter(mean, window_);
  const TimePoint periodStart = lastReport_ == TimePoint{} ? first_ : lastReport_;
  if (samples_ > 0 && now > periodStart) {
    info.bandwidth = static_cast<double>(bytes_ - bytesAtLastReport_) / SecondsBetween(periodStart, now);
  }
  info.sampleCount = samples_;
  lastReport_ = now;
  bytesAtLastReport_ = bytes_;
  return info;
}

EventHzTotals EventRateCounter::Totals() const {
  EventHzTotals totals;
  totals.sampleCount = samples_;
  totals.byteCount = bytes_;
  totals.duration = SecondsBetween(first_, last_);
  const bool hasSpan = samples_ >= 2 && totals.duration > 0.0;
  totals.meanRate = hasSpan ? static_cast<double>(samples_ - 1) / totals.duration : kNotANumber;
  totals.bandwidth = totals.meanRate * static_cast<double>(bytes_) / static_cast<double>(samples_);
  return totals;
}

}  // namespace qor::qorevent
