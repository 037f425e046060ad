// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QOREVENT_BACKLOG_GATE_H
#define QOR_QOREVENT_BACKLOG_GATE_H

#include <chrono>

namespace qor::qorevent {

/// Tells what a publisher had sent before the subscription stood. A reliable one delivers these samples all at once
/// when the two sides have met; they say nothing about the rate. Times are those of the realtime clock, since its
/// epoch, and those of samples may come from another host. Not synchronised.
class BacklogGate {
 public:
  using Time = std::chrono::nanoseconds;

  /// Whether a sample that arrives now was sent clearly before the first one arrived. `sentAt` 0: not known, never
  /// backlog. Nothing is backlog any more a second after the first sample: then only the clocks differ.
  bool IsBacklog(Time sentAt, Time now) {
    constexpr Time kJustSent = std::chrono::milliseconds(1);  // on its way when the subscription stood
    constexpr Time kLongest = std::chrono::seconds(1);
    if (firstArrival_ == Time(0)) {
      firstArrival_ = now;
    }
    return sentAt != Time(0) && sentAt < firstArrival_ - kJustSent && now < firstArrival_ + kLongest;
  }

 private:
  Time firstArrival_{0};
};

}  // namespace qor::qorevent

#endif
