// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_QOREVENT_ECHO_RUN_H
#define QOR_TOOLS_QOREVENT_ECHO_RUN_H

#include <cstdint>
#include <optional>
#include <set>
#include <string>

#include "src/qorevent/qor_event_echo.h"
#include "tools/common/exit_code.h"
#include "tools/common/stop_signal.h"
#include "tools/qorevent/echo_command_options.h"
#include "tools/qorevent/event_wait.h"
#include "tools/qorevent/run_limits.h"
#include "tools/qorevent/sample_pipe.h"
#include "tools/qorevent/session.h"

namespace qor::tools {

/// One run of echo, from finding the events to the last sample. Lives on the main thread; samples arrive on others.
///
/// With no event of the names known it ends at once, or with a time limit when that has passed; names that are not
/// known while others are keep being looked for, each second.
class EchoRun {
 public:
  /// All must outlive it.
  EchoRun(const EchoCommandOptions& options, StopSignal& stop, Session& session);

  ExitCode Run();

 private:
  using Clock = RunLimits::Clock;
  using EchoResult = qorevent::QorEventEcho::EchoResult;

  qorevent::EchoOptions Options() const;

  /// Looks for the events that are not known yet and starts those that are there now.
  EventLook StartKnownEvents();
  /// Nothing, or how the run ends because the event cannot be echoed.
  std::optional<ExitCode> Start(const std::string& name);
  ExitCode Receive();
  /// What waits; the number of samples.
  std::uint64_t WriteSamples();
  bool IsOver() const;
  bool HasData() const { return sampleCount_ > 0; }
  /// Ends every echo; the samples that the transports know were lost.
  std::uint64_t StopAll();

  const EchoCommandOptions& options_;
  StopSignal& stop_;
  Session& session_;
  const std::uint64_t limit_;  ///< samples; 0: none
  SamplePipe samples_;
  std::string text_;
  std::set<std::string> pending_;  ///< names that are not known yet
  std::set<std::string> echoing_;
  std::uint64_t sampleCount_ = 0;  ///< written
  Clock::time_point nextLook_;
  RunLimits limits_;
  // Its receive threads use everything above.
  qorevent::QorEventEcho echo_;
};

}  // namespace qor::tools

#endif
