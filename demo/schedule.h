// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DEMO_SCHEDULE_H
#define QOR_DEMO_SCHEDULE_H

#include <chrono>
#include <functional>
#include <vector>

namespace qor::demo {

/// Runs tasks at their rates on the calling thread until SIGINT or SIGTERM arrives. Must be made before any other
/// thread of the process, because it blocks these signals for all of them.
class Schedule {
 public:
  using Clock = std::chrono::steady_clock;
  using Task = std::function<void()>;

  Schedule();

  /// `period` above 0. A task that falls behind catches up, and skips what is more than 100 ms late.
  void Every(Clock::duration period, Task task);
  /// Runs `task` whenever nothing else is due, without a pause.
  void Always(Task task) { always_ = std::move(task); }

  /// Returns when a signal has arrived.
  void Run();

 private:
  struct Entry {
    Clock::duration period;
    Clock::time_point next;
    Task task;
  };

  std::vector<Entry> entries_;
  Task always_;
};

}  // namespace qor::demo

#endif
