// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_QOREVENT_EVENT_WAIT_H
#define QOR_TOOLS_QOREVENT_EVENT_WAIT_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "src/common/query.h"
#include "tools/common/exit_code.h"
#include "tools/common/stop_signal.h"
#include "tools/qorevent/run_limits.h"
#include "tools/qorevent/session.h"

/// How verbs that receive begin, and what they complain of. Used by the main thread.
namespace qor::tools {

/// What one look for the named events found.
struct EventLook {
  bool isAnyKnown = false;
  bool anyAnswered = false;
  common::DaemonSet missing;       ///< daemons that did not answer
  std::optional<ExitCode> ending;  ///< what was found ends the run
};

/// Looks until one of the events is known: each second for as long as the time-out says. Nothing when one is; otherwise
/// how the run ends.
std::optional<ExitCode> WaitForEvents(const std::vector<std::string>& names, const RunLimits& limits, StopSignal& stop,
                                      Session& session, const std::function<EventLook()>& look);

/// For names that are looked for while other events are received.
void ComplainStillLooking(Session& session, const std::string& name);
void ComplainAmbiguous(const std::string& name);
/// When there are any.
void ComplainDropped(std::uint64_t samples);

}  // namespace qor::tools

#endif
