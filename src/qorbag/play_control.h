// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_PLAY_CONTROL_H
#define QOR_QORBAG_PLAY_CONTROL_H

#include <atomic>
#include <mutex>

#include "src/qorbag/player_time.h"

namespace qor::qorbag {

/// What a person at the keyboard wants of the thread that plays. Outlived by `time`.
class PlayControl {
 public:
  PlayControl(PlayerTime& time, bool isTracing) : time_(time), isTracing_(isTracing), isTraceOn_(isTracing) {}

  // --- Any thread ---

  /// Pauses, or goes on. A pause that ends while a message waits for its moment changes nothing for anybody: it has
  /// kept up no message. Any other one delays what follows by its length.
  void Pause();
  /// One message, while paused.
  void Step();
  /// Whether playing pauses at the traced event; false: nothing is traced.
  bool Trace();
  /// Everything that waits ends at once.
  void Stop();

  bool IsPaused() const { return isPaused_; }
  bool IsTraceOn() const { return isTraceOn_; }
  bool IsStopped() const { return isStopped_; }

  // --- The thread that plays ---

  /// Pauses unless it is paused.
  void EnterPause();
  /// Whether a step was asked for since the last call, or since the pause began.
  bool TakeStep() { return isStepWanted_.exchange(false); }
  /// A pause, if there is one, begins now, and none before has delayed anything: all has been accounted for until now.
  void RestartPause();
  /// By how much pauses that have ended delay what follows.
  SteadyNs TakeDelay();
  /// A message waits for its moment.
  void SetWaiting(bool isWaiting) { isPausedStart_ = isWaiting; }

 private:
  void ProcessPauseLocked(bool isPaused);

  PlayerTime& time_;
  const bool isTracing_;

  std::atomic<bool> isPaused_{false};
  std::atomic<bool> isStepWanted_{false};
  std::atomic<bool> isTraceOn_;
  std::atomic<bool> isStopped_{false};
  std::atomic<bool> isPausedStart_{false};  ///< a message waits for its moment

  std::mutex mutex_;
  SteadyNs pauseStart_{0};  // guarded by mutex_
  SteadyNs delay_{0};       // guarded by mutex_
};

}  // namespace qor::qorbag

#endif
