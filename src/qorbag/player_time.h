// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_PLAYER_TIME_H
#define QOR_QORBAG_PLAYER_TIME_H

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace qor::qorbag {

/// A moment of the steady clock, or a time between two.
using SteadyNs = std::chrono::nanoseconds;

/// The clocks of a player: the seam at which tests move time by hand.
class PlayerTime {
 public:
  virtual ~PlayerTime() = default;

  virtual SteadyNs Now() = 0;
  /// Returns at the moment; earlier after Wake, which also counts when it came before. One thread.
  virtual void SleepUntil(SteadyNs moment) = 0;
  /// Any thread.
  virtual void Wake() = 0;
  /// Sets the system's real-time clock. 0, or the errno of what went wrong.
  virtual int SetRealTime(std::uint64_t milliseconds) = 0;
};

/// Those of the system.
class SystemPlayerTime : public PlayerTime {
 public:
  SteadyNs Now() override;
  void SleepUntil(SteadyNs moment) override;
  void Wake() override;
  int SetRealTime(std::uint64_t milliseconds) override;

 private:
  std::mutex mutex_;
  std::condition_variable wakened_;
  bool isWakened_ = false;  // guarded by mutex_
};

/// While it lives, sleeps of the thread that made it end on time instead of up to 50 us later.
class PreciseSleep {
 public:
  PreciseSleep();
  ~PreciseSleep();
  PreciseSleep(const PreciseSleep&) = delete;
  PreciseSleep& operator=(const PreciseSleep&) = delete;

 private:
  const int previousSlack_;  ///< nanoseconds
};

}  // namespace qor::qorbag

#endif
