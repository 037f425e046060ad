// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_QORBAG_RECORD_RUN_H
#define QOR_TOOLS_QORBAG_RECORD_RUN_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "src/common/query.h"
#include "src/qorbag/qor_recorder.h"
#include "tools/common/common_options.h"
#include "tools/common/exit_code.h"
#include "tools/common/live_table.h"
#include "tools/common/output.h"
#include "tools/common/stop_signal.h"

namespace qor::tools {

/// What the command line of `record` asks for.
struct RecordCommandOptions {
  OutputOptions output;
  qorbag::RecorderOptions recorder;
  double duration = 0;  ///< seconds in all; 0: no limit
  double timeout = 0;   ///< seconds to wait for the first event; 0: none, it must be there
};

/// One recording, watched from the main thread: the recorder runs on another.
class RecordRun {
 public:
  /// Both must outlive it.
  RecordRun(const RecordCommandOptions& options, StopSignal& stop);

  ExitCode Run();

 private:
  using Clock = std::chrono::steady_clock;
  using Notice = std::pair<qorbag::RecorderType, std::string>;

  /// Events that the daemons told of.
  struct Known {
    std::vector<std::string> names;
    common::Answers answers;
  };

  std::optional<ExitCode> WaitForEvents();
  /// Whether one of the events is known.
  bool Look(Known& known) const;
  void WarnOfExcluded(const Known& known) const;
  ExitCode EndUnknown(const Known& known) const;

  /// Ends the recording when its time is over.
  void StopInTime();
  void Watch();
  void ShowStatus();
  void WriteJsonLine(const qorbag::RecorderStatus& status, const char* type);
  void ShowNotices();
  void ShowNotice(qorbag::RecorderType type, const std::string& text);
  ExitCode Finish(bool isWhole);

  const RecordCommandOptions& options_;
  StopSignal& stop_;
  Output out_;
  LiveTable live_;
  qorbag::QorRecorder recorder_;
  qorbag::RecorderStatus shown_;
  bool isInterrupted_ = false;
  bool hasFailed_ = false;
  bool hasFile_ = false;  ///< a bag was begun
  std::atomic<bool> isOver_{false};
  std::mutex mutex_;
  std::condition_variable over_;
  std::vector<Notice> notices_;  // guarded by mutex_
};

}  // namespace qor::tools

#endif
