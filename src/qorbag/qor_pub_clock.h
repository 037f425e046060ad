// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_QOR_PUB_CLOCK_H
#define QOR_QORBAG_QOR_PUB_CLOCK_H

#include <cstdint>

#include "src/qorbag/player_time.h"

namespace qor::qorbag {

/// What time it is in the bag while the next message, the horizon, is waited for. Used by one thread.
class QorPubClock {
 public:
  /// One that is as good as 0 is ignored.
  void SetTimeRate(double rate);
  /// The next message: its time in the bag, and the moment at which it is due.
  void SetHorizon(std::uint64_t bagTime, SteadyNs moment);
  void SetTime(std::uint64_t bagTime) { current_ = bagTime; }
  /// It is the time of the next message.
  void JumpToHorizon() { current_ = bagHorizon_; }

  /// Milliseconds.
  std::uint64_t GetTime() const { return current_; }
  bool IsHorizonReached(SteadyNs now) const { return now >= systemHorizon_; }

  /// Brings the time up to date. The moment until which to sleep then: that of the next message, `slice` from now at
  /// the latest.
  SteadyNs RunClock(SteadyNs now, SteadyNs slice);

 private:
  double rate_ = 1.0;
  SteadyNs systemHorizon_{0};
  std::uint64_t bagHorizon_ = 0;
  std::uint64_t current_ = 0;
};

}  // namespace qor::qorbag

#endif
