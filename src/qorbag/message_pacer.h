// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_MESSAGE_PACER_H
#define QOR_QORBAG_MESSAGE_PACER_H

#include <atomic>
#include <cstdint>

#include "src/qorbag/play_control.h"
#include "src/qorbag/player_options.h"
#include "src/qorbag/player_time.h"
#include "src/qorbag/qor_pub_clock.h"
#include "src/qorbag/qor_time_translator.h"

namespace qor::qorbag {

/// Says when each message is published: holds the thread that plays until then. Used by that thread; what it is made
/// with outlives it.
class MessagePacer {
 public:
  MessagePacer(const PlayerOptions& options, PlayerTime& time, PlayControl& control);

  /// The messages from the first on come now. `bagStart` in milliseconds, as all times of the bag.
  void BeginPass(std::uint64_t bagStart);

  enum class Turn {
    kInTime,  ///< the message has its turn when its moment comes
    kStep,    ///< it is published now, and paused on: BeginStep
    kStopped,
  };
  /// Looks at the next message, waits while paused.
  Turn AwaitTurn(std::uint64_t bagTime);
  /// Waits for its moment. False: stopped before.
  bool AwaitMoment();
  /// A message that was published out of time: what follows keeps its distance to it.
  void BeginStep();

  /// The message was dealt with.
  void FinishMessage();

  /// Of the message that has its turn.
  SteadyNs Moment() const { return moment_; }
  /// Seconds of this pass, in the bag's time. Any thread.
  double ElapsedSeconds() const { return elapsed_; }

 private:
  void Aim();
  bool IsSilenceSkipped() const;
  void SkipSilence();
  bool AwaitFrequency();
  bool AwaitHorizon();
  void PassStandstill(SteadyNs late);
  double SecondsOf(std::uint64_t bagTime) const;

  const PlayerOptions& options_;
  PlayerTime& time_;
  PlayControl& control_;
  QorTimeTranslator translator_;
  QorPubClock clock_;
  std::uint64_t bagStart_ = 0;
  std::uint64_t bagTime_ = 0;    ///< of the message that has its turn
  SteadyNs target_{0};           ///< its moment by its time
  SteadyNs moment_{0};           ///< its moment, however it was found
  SteadyNs lastPublication_{0};  ///< with a frequency
  std::uint64_t turns_ = 0;      ///< of waiting
  std::atomic<double> elapsed_{0.0};
};

}  // namespace qor::qorbag

#endif
