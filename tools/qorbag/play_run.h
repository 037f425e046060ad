// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_QORBAG_PLAY_RUN_H
#define QOR_TOOLS_QORBAG_PLAY_RUN_H

#include <atomic>
#include <chrono>
#include <string>

#include "src/qorbag/qor_player.h"
#include "tools/common/common_options.h"
#include "tools/common/exit_code.h"
#include "tools/common/output.h"
#include "tools/common/status_line.h"
#include "tools/common/stop_signal.h"

namespace qor::tools {

struct PlayCommandOptions {
  OutputOptions output;
  qorbag::PlayerOptions player;
};

/// Plays bags on a thread of its own; the caller's waits for keys and signals, shows how it goes, and tells how it
/// ended. Used by one thread, once.
class PlayRun {
 public:
  explicit PlayRun(const PlayCommandOptions& options);

  int Run();

 private:
  enum class Phase { kPreparing, kWaiting, kPlaying, kFinishing };  // in this order

  bool Open();
  void Play();
  /// Looks after keys and the display until all is played, when `doneFd` is readable, or a signal ends it.
  void Attend(int doneFd);
  void Press(int key);
  void TellProblems();
  void Follow(qorbag::PlayerPrintType type);
  std::string ProgressText() const;

  int Finish();
  ExitCode Ending() const;
  void ComplainNothing() const;
  void ComplainLive() const;
  void ComplainPorts() const;
  /// Whether something was not played, with a line on stderr.
  bool FailedPart() const;
  void WriteSummary();

  const PlayCommandOptions& options_;
  StopSignal stop_;
  Output out_;
  qorbag::QorPlayer player_;
  StatusLine line_;
  std::atomic<Phase> phase_{Phase::kPreparing};
  std::atomic<bool> isDone_{false};
  std::atomic<bool> isDamaged_{false};  ///< a message could not be decompressed
  bool isDamageTold_ = false;
  bool isDaemonTold_ = false;
  bool isClockTold_ = false;
  qorbag::PlayCode code_ = qorbag::PlayCode::kDone;
  std::chrono::steady_clock::time_point begin_;  ///< of the first message; the playing thread's
  std::chrono::steady_clock::time_point end_;    ///< of the last one
};

}  // namespace qor::tools

#endif
