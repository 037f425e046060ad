// SPDX-License-Identifier: Apache-2.0
#include "tools/qorevent/hz_run.h"

#include <algorithm>

#include "tools/common/printable.h"
#include "tools/common/run_end.h"
#include "tools/qorevent/event_wait.h"

namespace qor::tools {
namespace {

std::string SampleLine(const std::string& name, bool isJson) {
  using Json = nlohmann::ordered_json;
  return (isJson ? Json{{"type", "sample"}, {"event", name}}.dump(-1, ' ', true, Json::error_handler_t::replace)
                 : Printable(name)) +
         "\n";
}

}  // namespace

HzRun::HzRun(const HzCommandOptions& options, StopSignal& stop, Session& session)
    : options_(options),
      stop_(stop),
      session_(session),
      printer_(session.Out(), session.IsJson()),
      samples_(options.isMessages ? options.count : 0),
      limits_(options) {
  for (const std::string& name : options.names) {
    lines_.emplace(name, SampleLine(name, session.IsJson()));
  }
}

ExitCode HzRun::Run() {
  if (!Init()) {
    return kExitFailure;
  }
  const auto look = [this] {
    hz_.QueryEvent();
    const bool isAnyKnown =
        std::ranges::any_of(options_.names, [this](const auto& name) { return hz_.IsQueried(name); });
    return EventLook{isAnyKnown, hz_.AnyDaemonAnswered(), hz_.MissingDaemons(), std::nullopt};
  };
  if (const auto ending = WaitForEvents(options_.names, limits_, stop_, session_, look); ending.has_value()) {
    return *ending;
  }
  for (const std::string& name : options_.names) {
    if (!hz_.IsQueried(name)) {
      ComplainStillLooking(session_, name);
    }
  }
  const bool isStarted = hz_.QorEventHzStart();
  WarnOfAmbiguousEvents();
  if (!isStarted) {
    if (ambiguous_.empty()) {
      Complain("none of the events can be subscribed; -v tells more");
    }
    return kExitFailure;
  }
  const ExitCode code = Measure();
  hz_.QorEventHzStop();
  return session_.Out().HasFailed() ? kExitFailure : code;
}

bool HzRun::Init() {
  const qorevent::HzOptions hz{options_.filter, options_.ddsNetwork, options_.someipNetwork};
  if (options_.isMessages) {
    return hz_.Init(options_.names, hz, [this](const std::string& name) { samples_.Push(lines_.at(name)); });
  }
  return hz_.Init(
      options_.names, options_.windowSize, hz,
      [this](const qorevent::EventHzList& events, qorevent::QoreventHzType /*type*/) { printer_.PrintReport(events); });
}

void HzRun::WarnOfAmbiguousEvents() {
  for (const std::string& name : options_.names) {
    if (hz_.IsAmbiguous(name) && ambiguous_.insert(name).second) {
      ComplainAmbiguous(name);
    }
  }
}

ExitCode HzRun::Measure() {
  limits_.Begin();
  auto next = Clock::now();
  do {
    next += RunLimits::kPeriod;
    if (!WaitUntil(next)) {
      break;
    }
    if (Clock::now() >= next) {
      hz_.SubscribeLateEvents();
      WarnOfAmbiguousEvents();
      Report();
    }
  } while (!IsOver());
  if (session_.Out().HasReaderGone()) {
    return kExitDone;
  }
  CountSamples();
  PrintSamples();  // what came with the end
  if (!options_.isMessages) {
    printer_.PrintSummary(hz_.QorEventGetTotals());
  }
  ComplainDropped(samples_.DroppedCount());
  return EndOf(HasData(), isInterrupted_);
}

bool HzRun::WaitUntil(Clock::time_point end) {
  while (!IsOver()) {
    const auto deadline = limits_.Next(end, HasData());
    const auto wake = stop_.WaitFor(RunLimits::Until(deadline), samples_.Descriptor());
    if (wake == StopSignal::Wake::kSignal) {
      isInterrupted_ = true;
      return false;
    }
    if (wake == StopSignal::Wake::kReadable) {
      PrintSamples();
    } else if (Clock::now() >= deadline) {
      CountSamples();
      return true;
    }
  }
  return true;
}

void HzRun::PrintSamples() {
  if (const std::uint64_t count = samples_.Take(text_); count > 0) {
    sampleCount_ += count;
    session_.Out().Write(text_);
  }
}

void HzRun::CountSamples() {
  if (!options_.isMessages) {
    sampleCount_ = hz_.QorEventSampleCount();
  }
}

bool HzRun::IsOver() const {
  const std::uint64_t counted = options_.isMessages ? sampleCount_ : reportCount_;
  return session_.Out().HasReaderGone() || (options_.count > 0 && counted >= options_.count) ||
         limits_.IsOver(HasData());
}

void HzRun::Report() {
  if (options_.isMessages) {
    return;
  }
  hz_.QorEventPrintHz();
  CountSamples();
  reportCount_ += HasData() ? 1 : 0;
}

}  // namespace qor::tools
