// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_QOREVENT_RUN_LIMITS_H
#define QOR_TOOLS_QOREVENT_RUN_LIMITS_H

#include <chrono>
#include <optional>

#include "tools/qorevent/receive_options.h"

namespace qor::tools {

/// The time limits of a run: the time-out counts from the construction until there is data, the duration from Begin.
/// Used by one thread.
class RunLimits {
 public:
  using Clock = std::chrono::steady_clock;

  /// A run looks for what is missing so often.
  static constexpr std::chrono::seconds kPeriod{1};

  explicit RunLimits(const ReceiveOptions& options);

  /// Receiving begins.
  void Begin();

  /// When waiting for the first event is over; without a time-out at once.
  Clock::time_point LookDeadline() const { return timeoutEnd_.value_or(start_); }
  bool IsOver(bool hasData) const;
  /// `latest`, or the limit that is reached before it.
  Clock::time_point Next(Clock::time_point latest, bool hasData) const;

  /// Rounded up, so that a wait is never a little short; 0 when the time has passed.
  static std::chrono::milliseconds Until(Clock::time_point end);

 private:
  const Clock::time_point start_ = Clock::now();
  const Clock::duration duration_;  ///< 0: no limit
  std::optional<Clock::time_point> timeoutEnd_;
  std::optional<Clock::time_point> durationEnd_;
};

}  // namespace qor::tools

#endif
