// SPDX-License-Identifier: Apache-2.0
#include "demo/schedule.h"

#include <pthread.h>
#include <signal.h>
#include <time.h>

#include <algorithm>
#include <utility>

namespace qor::demo {
namespace {

sigset_t EndSignals() {
  sigset_t signals;
  ::sigemptyset(&signals);
  ::sigaddset(&signals, SIGINT);
  ::sigaddset(&signals, SIGTERM);
  return signals;
}

/// Waits that long for a signal to end; true when one came.
bool WaitForEnd(Schedule::Clock::duration limit) {
  const auto nanoseconds =
      std::max<std::int64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(limit).count(), 0);
  constexpr std::int64_t kSecond = 1000000000;
  timespec timeout{};
  timeout.tv_sec = static_cast<time_t>(nanoseconds / kSecond);
  timeout.tv_nsec = static_cast<long>(nanoseconds % kSecond);
  const sigset_t signals = EndSignals();
  return ::sigtimedwait(&signals, nullptr, &timeout) > 0;
}

}  // namespace

Schedule::Schedule() {
  const sigset_t signals = EndSignals();
  ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

void Schedule::Every(Clock::duration period, Task task) {
  entries_.push_back(Entry{period, Clock::now(), std::move(task)});
}

void Schedule::Run() {
  constexpr auto kIdle = std::chrono::hours(1);
  constexpr auto kMaxBacklog = std::chrono::milliseconds(100);
  const auto earlier = [](const Entry& left, const Entry& right) { return left.next < right.next; };
  while (true) {
    const auto entry = std::min_element(entries_.begin(), entries_.end(), earlier);
    const Clock::time_point due = entry == entries_.end() ? Clock::now() + kIdle : entry->next;
    const bool hasAlways = always_ != nullptr;
    if (WaitForEnd(hasAlways ? Clock::duration::zero() : due - Clock::now())) {
      return;
    }
    const Clock::time_point now = Clock::now();
    if (entry != entries_.end() && now >= due) {
      entry->task();
      entry->next = std::max(due + entry->period, now - kMaxBacklog);
    } else if (hasAlways) {
      always_();
    }
  }
}

}  // namespace qor::demo
