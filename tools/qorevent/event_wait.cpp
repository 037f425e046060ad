// SPDX-License-Identifier: Apache-2.0
#include "tools/qorevent/event_wait.h"

#include <algorithm>

#include "tools/common/printable.h"

namespace qor::tools {
namespace {

/// A daemon that is silent may know the events.
ExitCode EndUnknown(const std::vector<std::string>& names, Session& session, const EventLook& found) {
  if (!found.anyAnswered || !found.missing.empty()) {
    session.Finish(found.anyAnswered, found.missing);
    return kExitFailure;
  }
  for (const std::string& name : names) {
    session.ComplainUnknown(name);
  }
  return kExitNoMatch;
}

}  // namespace

std::optional<ExitCode> WaitForEvents(const std::vector<std::string>& names, const RunLimits& limits, StopSignal& stop,
                                      Session& session, const std::function<EventLook()>& look) {
  while (true) {
    const EventLook found = look();
    if (found.ending.has_value()) {
      return found.ending;
    }
    if (found.isAnyKnown) {
      const bool isEnough = found.missing.empty() || session.Finish(found.anyAnswered, found.missing) == kExitDone;
      return isEnough ? std::nullopt : std::optional(kExitFailure);
    }
    if (RunLimits::Clock::now() >= limits.LookDeadline()) {
      return EndUnknown(names, session, found);
    }
    const auto pause = std::min<std::chrono::milliseconds>(RunLimits::Until(limits.LookDeadline()), RunLimits::kPeriod);
    if (stop.WaitFor(pause) == StopSignal::Wake::kSignal) {
      return kExitInterrupted;
    }
  }
}

void ComplainStillLooking(Session& session, const std::string& name) {
  session.ComplainUnknown(name);
  Complain("still looking for '" + Printable(name) + "'");
}

void ComplainAmbiguous(const std::string& name) {
  Complain("there are several events '" + Printable(name) +
           "', so none of them is received: choose one with --domain-id, --instance or --network-ip");
}

void ComplainDropped(std::uint64_t samples) {
  if (samples > 0) {
    Complain("the output was too slow: " + std::to_string(samples) + " samples are not printed");
  }
}

}  // namespace qor::tools
