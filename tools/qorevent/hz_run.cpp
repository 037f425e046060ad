// SPDX-License-Identifier: Apache-2.0
#include "tools/qorevent/hz_run.h"

#include <algorithm>

#include "tools/common/printable.h"

namespace qor::tools {
namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

constexpr seconds kPeriod{1};

steady_clock::duration ToDuration(double timeInSeconds) {
  return duration_cast<steady_clock::duration>(std::chrono::duration<double>(timeInSeconds));
}

/// Rounded up, so that a wait is never a little short.
milliseconds Until(steady_clock::time_point end) {
  return std::chrono::ceil<milliseconds>(std::max(end - steady_clock::now(), steady_clock::duration::zero()));
}

std::string SampleLine(const std::string& name, bool isJson) {
  using Json = nlohmann::ordered_json;
  return (isJson ? Json{{"type", "sample"}, {"event", name}}.dump(-1, ' ', true, Json::error_handler_t::replace)
                 : Printable(name)) +
         "\n";
}

}  // namespace

HzRun::HzRun(const HzCommandOptions& options, StopSignal& stop, Session& session)
    : options_(options), stop_(stop), session_(session), printer_(session.Out(), session.IsJson()) {}

ExitCode HzRun::Run() {
  if (!Init()) {
    return kExitFailure;
  }
  begin_ = Clock::now();
  if (const auto ending = WaitForEvents(); ending.has_value()) {
    return *ending;
  }
  if (!isComplete_ && session_.Finish(hz_.AnyDaemonAnswered(), hz_.MissingDaemons()) != kExitDone) {
    return kExitFailure;
  }
  WarnOfUnknownEvents();
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
  if (options_.isMessages) {
    return hz_.Init(options_.names, options_.hz, [this](const std::string& name) { samples_.Push(name); });
  }
  return hz_.Init(
      options_.names, options_.windowSize, options_.hz,
      [this](const qorevent::EventHzList& events, qorevent::QoreventHzType /*type*/) { printer_.PrintReport(events); });
}

std::optional<ExitCode> HzRun::WaitForEvents() {
  const auto isAnyKnown = [this] {
    isComplete_ = hz_.QueryEvent();
    return std::any_of(options_.names.begin(), options_.names.end(),
                       [this](const std::string& name) { return hz_.IsQueried(name); });
  };
  const auto deadline = begin_ + ToDuration(options_.timeout);
  while (!isAnyKnown()) {
    if (Clock::now() >= deadline) {
      if (!isComplete_) {  // a daemon that is silent may know the events
        session_.Finish(hz_.AnyDaemonAnswered(), hz_.MissingDaemons());
        return kExitFailure;
      }
      for (const std::string& name : options_.names) {
        session_.ComplainUnknown(name);
      }
      return kExitNoMatch;
    }
    if (stop_.WaitFor(std::min<milliseconds>(Until(deadline), kPeriod)) == StopSignal::Wake::kSignal) {
      return kExitInterrupted;
    }
  }
  return std::nullopt;
}

void HzRun::WarnOfUnknownEvents() {
  for (const std::string& name : options_.names) {
    if (!hz_.IsQueried(name)) {
      session_.ComplainUnknown(name);
      Complain("still looking for '" + Printable(name) + "'");
    }
  }
}

void HzRun::WarnOfAmbiguousEvents() {
  for (const std::string& name : options_.names) {
    if (hz_.IsAmbiguous(name) && ambiguous_.insert(name).second) {
      Complain("there are several events '" + Printable(name) +
               "', so none of them is subscribed: choose one with --domain-id, --instance or --network-ip");
    }
  }
}

ExitCode HzRun::Measure() {
  measureBegin_ = Clock::now();
  auto next = measureBegin_;
  do {
    next += kPeriod;
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
  if (!options_.isMessages) {
    printer_.PrintSummary(hz_.QorEventGetTotals());
  }
  if (const auto dropped = samples_.DroppedCount(); dropped > 0) {
    Complain("the output was too slow: " + std::to_string(dropped) + " samples are not printed");
  }
  if (HasData()) {
    return kExitDone;
  }
  if (!isInterrupted_) {
    Complain("no sample arrived within the time limit");
  }
  return isInterrupted_ ? kExitInterrupted : kExitTimeLimit;
}

HzRun::Clock::time_point HzRun::NextDeadline(Clock::time_point periodEnd) const {
  auto deadline = periodEnd;
  if (options_.duration > 0.0) {
    deadline = std::min(deadline, measureBegin_ + ToDuration(options_.duration));
  }
  if (options_.timeout > 0.0 && !HasData()) {
    deadline = std::min(deadline, begin_ + ToDuration(options_.timeout));
  }
  return deadline;
}

bool HzRun::WaitUntil(Clock::time_point end) {
  const int samplesReady = options_.isMessages ? samples_.Descriptor() : -1;
  while (!IsOver()) {
    const auto deadline = NextDeadline(end);
    const auto wake = stop_.WaitFor(Until(deadline), samplesReady);
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

void HzRun::CountSamples() {
  if (!options_.isMessages) {
    sampleCount_ = hz_.QorEventSampleCount();
  }
}

bool HzRun::IsOver() const {
  const auto now = Clock::now();
  const std::uint64_t counted = options_.isMessages ? sampleCount_ : reportCount_;
  return session_.Out().HasReaderGone() || (options_.count > 0 && counted >= options_.count) ||
         (options_.duration > 0.0 && now >= measureBegin_ + ToDuration(options_.duration)) ||
         (options_.timeout > 0.0 && !HasData() && now >= begin_ + ToDuration(options_.timeout));
}

void HzRun::Report() {
  if (options_.isMessages) {
    return;
  }
  hz_.QorEventPrintHz();
  CountSamples();
  reportCount_ += HasData() ? 1 : 0;
}

void HzRun::PrintSamples() {
  samples_.Take(taken_);
  if (options_.count > 0) {
    taken_.resize(std::min<std::size_t>(taken_.size(), options_.count - sampleCount_));
  }
  std::string text;
  for (const std::string* name : taken_) {
    std::string& line = lines_[name];
    if (line.empty()) {
      line = SampleLine(*name, session_.IsJson());
    }
    text += line;
  }
  session_.Out().Write(text);
  sampleCount_ += taken_.size();
}

}  // namespace qor::tools
