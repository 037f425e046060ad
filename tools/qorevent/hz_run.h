// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_QOREVENT_HZ_RUN_H
#define QOR_TOOLS_QOREVENT_HZ_RUN_H

#include <cstdint>
#include <map>
#include <set>
#include <string>

#include "src/qorevent/qor_event_hz.h"
#include "tools/common/exit_code.h"
#include "tools/common/stop_signal.h"
#include "tools/qorevent/hz_command_options.h"
#include "tools/qorevent/hz_text.h"
#include "tools/qorevent/run_limits.h"
#include "tools/qorevent/sample_pipe.h"
#include "tools/qorevent/session.h"

namespace qor::tools {

/// One measurement of hz, from finding the events to the summary. Lives on the main thread; samples arrive on others.
///
/// With no event of the names known it ends at once, or with a time limit when that has passed; names that are not
/// known while others are keep being looked for, each second.
class HzRun {
 public:
  /// `stop` and `session` must outlive it.
  HzRun(const HzCommandOptions& options, StopSignal& stop, Session& session);

  ExitCode Run();

 private:
  using Clock = RunLimits::Clock;

  bool Init();
  /// Once for each name that means several events.
  void WarnOfAmbiguousEvents();
  ExitCode Measure();
  /// Waits for the end of the period, printing samples as they come. False when the run is over.
  bool WaitUntil(Clock::time_point end);
  /// Whether a limit is reached.
  bool IsOver() const;
  bool HasData() const { return sampleCount_ > 0; }
  void Report();
  void CountSamples();
  /// In message mode what waits.
  void PrintSamples();

  const HzCommandOptions& options_;
  StopSignal& stop_;
  Session& session_;
  HzPrinter printer_;
  SamplePipe samples_;
  std::map<std::string, std::string> lines_;  ///< what is printed for each event in message mode
  std::string text_;
  RunLimits limits_;
  std::set<std::string> ambiguous_;
  std::uint64_t reportCount_ = 0;
  std::uint64_t sampleCount_ = 0;
  bool isInterrupted_ = false;
  qorevent::QorEventHz hz_;  ///< last: its receive threads use what stands above
};

}  // namespace qor::tools

#endif
