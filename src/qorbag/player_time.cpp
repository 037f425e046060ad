// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/player_time.h"

#include <sys/prctl.h>

#include <cerrno>
#include <ctime>
#include <utility>

namespace qor::qorbag {

SteadyNs SystemPlayerTime::Now() { return std::chrono::steady_clock::now().time_since_epoch(); }

/// The library waits for an absolute time of the monotonic clock, so that nothing adds up.
void SystemPlayerTime::SleepUntil(SteadyNs moment) {
  std::unique_lock lock(mutex_);
  wakened_.wait_until(lock, std::chrono::steady_clock::time_point(moment), [this] { return isWakened_; });
  isWakened_ = false;
}

void SystemPlayerTime::Wake() {
  {
    const std::lock_guard lock(mutex_);
    isWakened_ = true;
  }
  wakened_.notify_all();
}

int SystemPlayerTime::SetRealTime(std::uint64_t milliseconds) {
  constexpr std::uint64_t kMilli = 1000;
  constexpr std::uint64_t kNanosInMilli = 1'000'000;
  timespec time{};
  time.tv_sec = static_cast<std::time_t>(milliseconds / kMilli);
  time.tv_nsec = static_cast<long>(milliseconds % kMilli * kNanosInMilli);
  return ::clock_settime(CLOCK_REALTIME, &time) == 0 ? 0 : errno;
}

PreciseSleep::PreciseSleep() : previousSlack_(::prctl(PR_GET_TIMERSLACK, 0, 0, 0, 0)) {
  ::prctl(PR_SET_TIMERSLACK, 1, 0, 0, 0);
}

PreciseSleep::~PreciseSleep() {
  if (previousSlack_ > 0) {
    ::prctl(PR_SET_TIMERSLACK, previousSlack_, 0, 0, 0);
  }
}

}  // namespace qor::qorbag
