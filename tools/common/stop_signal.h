// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_COMMON_STOP_SIGNAL_H
#define QOR_TOOLS_COMMON_STOP_SIGNAL_H

#include <chrono>
#include <csignal>

namespace qor::tools {

/// Turns Ctrl-C (SIGINT), SIGTERM and SIGHUP into something that a program waits for, until destroyed. Make it before
/// the first thread starts, so that every thread leaves these signals to it. A signal that the process was started to
/// ignore stays ignored. Used by one thread; there is one at a time.
class StopSignal {
 public:
  /// What a second signal does.
  enum class Second {
    kEndsProcess,  ///< at once, should a tidy end hang
    kIsIgnored,    ///< what is under way must be finished; from the first signal to the end of the process
  };

  explicit StopSignal(Second second = Second::kEndsProcess);
  ~StopSignal();
  StopSignal(const StopSignal&) = delete;
  StopSignal& operator=(const StopSignal&) = delete;

  enum class Wake { kSignal, kReadable, kTimeout };

  /// Waits for a signal, for `fd` to be readable (-1: none), or for the time to pass. After a signal it always returns
  /// kSignal at once.
  Wake WaitFor(std::chrono::milliseconds limit, int fd = -1);
  bool IsRaised() { return WaitFor(std::chrono::milliseconds(0)) == Wake::kSignal; }

  /// Waits until PIPE_BUF bytes can be written to `fd`, or writing would fail. After a signal the reader has one second
  /// in all to make room; then false.
  bool WaitForRoom(int fd);

  /// The one that exists; null: none, and signals do what they always do.
  static StopSignal* Current() { return current_; }

 private:
  using Clock = std::chrono::steady_clock;

  /// Takes note of a signal that is pending.
  bool TakeSignal();
  void IgnoreWatched() const;

  static StopSignal* current_;

  const Second second_;
  sigset_t watched_{};
  sigset_t previousMask_{};
  int signalFd_ = -1;
  bool isRaised_ = false;
  Clock::time_point raisedAt_{};
};

}  // namespace qor::tools

#endif
