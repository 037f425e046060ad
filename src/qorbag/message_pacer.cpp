// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/message_pacer.h"

#include <chrono>

namespace qor::qorbag {
namespace {

constexpr double kMilli = 1000.0;
constexpr SteadyNs kSlice = std::chrono::milliseconds(50);
constexpr SteadyNs kPausePeriod = std::chrono::milliseconds(100);

}  // namespace

MessagePacer::MessagePacer(const PlayerOptions& options, PlayerTime& time, PlayControl& control)
    : options_(options), time_(time), control_(control) {
  translator_.SetTimeRate(options.rate);
  clock_.SetTimeRate(options.rate);
}

void MessagePacer::BeginPass(std::uint64_t bagStart) {
  const SteadyNs now = time_.Now();
  bagStart_ = bagStart;
  translator_.SetBagStartTime(bagStart);
  translator_.SetSystemStartTime(now);
  clock_.SetTime(bagStart);
  lastPublication_ = now;
  elapsed_ = 0.0;
  control_.RestartPause();
}

MessagePacer::Turn MessagePacer::AwaitTurn(std::uint64_t bagTime) {
  bagTime_ = bagTime;
  while (control_.IsPaused() && !control_.IsStopped()) {
    if (control_.TakeStep()) {
      Aim();
      return Turn::kStep;
    }
    time_.SleepUntil(time_.Now() + kPausePeriod);
  }
  Aim();
  return control_.IsStopped() ? Turn::kStopped : Turn::kInTime;
}

void MessagePacer::Aim() {
  translator_.Shift(control_.TakeDelay());
  target_ = translator_.Translate(bagTime_);
  moment_ = target_;
  clock_.SetHorizon(bagTime_, target_);
}

bool MessagePacer::AwaitMoment() {
  control_.SetWaiting(true);
  bool isDue = true;
  if (options_.immediate) {
    clock_.JumpToHorizon();
    moment_ = time_.Now();
  } else if (IsSilenceSkipped()) {
    SkipSilence();
  } else if (IsSet(options_.frequency)) {
    isDue = AwaitFrequency();
  } else {
    isDue = AwaitHorizon();
  }
  control_.SetWaiting(false);
  return isDue;
}

bool MessagePacer::IsSilenceSkipped() const {
  return MillisecondsBetween(clock_.GetTime(), bagTime_) > options_.skipEmpty * kMilli;
}

void MessagePacer::SkipSilence() {
  clock_.JumpToHorizon();
  moment_ = time_.Now();
  translator_.Shift(moment_ - target_);
}

void MessagePacer::BeginStep() {
  SkipSilence();
  control_.RestartPause();
}

/// From moment to moment, however late the last one was; unless it was later than a whole period.
bool MessagePacer::AwaitFrequency() {
  constexpr double kNanosInSecond = 1e9;
  const SteadyNs period = NanosecondsOf(kNanosInSecond / options_.frequency);
  moment_ = lastPublication_ + period;
  while (time_.Now() < moment_) {
    if (control_.IsStopped()) {
      return false;
    }
    time_.SleepUntil(moment_);
  }
  const SteadyNs now = time_.Now();
  lastPublication_ = now - moment_ < period ? moment_ : now;
  clock_.JumpToHorizon();
  return !control_.IsStopped();
}

bool MessagePacer::AwaitHorizon() {
  constexpr std::uint64_t kTurnsPerProgress = 20;
  for (SteadyNs now = time_.Now(); !clock_.IsHorizonReached(now); now = time_.Now()) {
    if (control_.IsStopped()) {
      return false;
    }
    const SteadyNs wake = clock_.RunClock(now, kSlice);
    time_.SleepUntil(wake);
    PassStandstill(time_.Now() - wake);
    if (++turns_ % kTurnsPerProgress == 0) {
      elapsed_ = SecondsOf(clock_.GetTime());
    }
  }
  clock_.JumpToHorizon();
  return !control_.IsStopped();
}

/// A program that was suspended goes on where it was: what was due meanwhile does not come all at once.
void MessagePacer::PassStandstill(SteadyNs late) {
  constexpr SteadyNs kStandstill = std::chrono::seconds(1);
  if (late > kStandstill) {
    translator_.Shift(late);
    Aim();
  }
}

void MessagePacer::FinishMessage() { elapsed_ = SecondsOf(bagTime_); }

double MessagePacer::SecondsOf(std::uint64_t bagTime) const { return MillisecondsBetween(bagStart_, bagTime) / kMilli; }

}  // namespace qor::qorbag
