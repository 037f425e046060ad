// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/play_control.h"

#include <utility>

#include "src/qorbag/player_log.h"

namespace qor::qorbag {

void PlayControl::Pause() {
  {
    const std::lock_guard lock(mutex_);
    ProcessPauseLocked(!isPaused_);
  }
  time_.Wake();
}

void PlayControl::EnterPause() {
  const std::lock_guard lock(mutex_);
  if (!isPaused_) {
    ProcessPauseLocked(true);
  }
}

void PlayControl::ProcessPauseLocked(bool isPaused) {
  isPaused_ = isPaused;
  kPlayerLog.Info() << "isPaused_ value is " << isPaused << "!";
  if (isPaused) {
    isStepWanted_ = false;
    pauseStart_ = time_.Now();
  } else if (isPausedStart_) {
    kPlayerLog.Verbose() << "Qorbag play: isPausedStart_ time wait is true";
  } else {
    delay_ += time_.Now() - pauseStart_;
  }
}

void PlayControl::Step() {
  if (isPaused_) {
    isStepWanted_ = true;
    time_.Wake();
  }
}

bool PlayControl::Trace() {
  if (isTracing_) {
    isTraceOn_ = !isTraceOn_;
  }
  return isTracing_;
}

void PlayControl::Stop() {
  isStopped_ = true;
  time_.Wake();
}

void PlayControl::RestartPause() {
  const std::lock_guard lock(mutex_);
  pauseStart_ = time_.Now();
  delay_ = SteadyNs(0);
}

SteadyNs PlayControl::TakeDelay() {
  const std::lock_guard lock(mutex_);
  return std::exchange(delay_, SteadyNs(0));
}

}  // namespace qor::qorbag
