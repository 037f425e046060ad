// SPDX-License-Identifier: Apache-2.0
#include "tools/qorevent/echo_run.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include "tools/common/printable.h"

namespace qor::tools {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr seconds kPeriod{1};
constexpr milliseconds kGather{2};  ///< while samples come: to wake up for each of them would cost more than they do

std::chrono::steady_clock::duration ToDuration(double timeInSeconds) {
  return std::chrono::duration_cast<std::chrono::steady_clock::duration>(std::chrono::duration<double>(timeInSeconds));
}

/// Rounded up, so that a wait is never a little short.
milliseconds Until(std::chrono::steady_clock::time_point end) {
  const auto now = std::chrono::steady_clock::now();
  return std::chrono::ceil<milliseconds>(std::max(end - now, std::chrono::steady_clock::duration::zero()));
}

}  // namespace

EchoRun::EchoRun(const EchoCommandOptions& options, StopSignal& stop, Session& session)
    : options_(options),
      stop_(stop),
      session_(session),
      printer_(options),
      limit_(options.isOnce ? 1 : options.count),
      samples_(limit_),
      pending_(options.names.begin(), options.names.end()) {}

ExitCode EchoRun::Run() {
  if (!echo_.Initialize()) {
    return kExitFailure;
  }
  echo_.SetRendering(Rendering());
  begin_ = Clock::now();
  if (const auto ending = WaitForEvents(); ending.has_value()) {
    return *ending;
  }
  if (!isComplete_ && session_.Finish(answers_.IsAny(), answers_.missing) != kExitDone) {
    return kExitFailure;
  }
  for (const std::string& name : pending_) {
    session_.ComplainUnknown(name);
    Complain("still looking for '" + Printable(name) + "'");
  }
  const ExitCode code = Receive();
  return session_.Out().HasFailed() ? kExitFailure : code;
}

qorevent::EchoOptions EchoRun::Options() const {
  qorevent::EchoOptions options;
  options.ddsNetwork = options_.ddsNetwork;
  options.someipNetwork = options_.someipNetwork;
  options.networkIp = options_.filter.networkIp;
  options.uuid = options_.filter.uuid;
  options.isAnyDomain = options_.filter.domainId == CommonFilter::kAnyDomain;
  options.domainId = options.isAnyDomain ? std::uint16_t{0} : options_.filter.domainId;
  options.instanceShortName = options_.filter.instanceShortName;
  return options;
}

qorevent::EchoRendering EchoRun::Rendering() const {
  qorevent::EchoRendering rendering;
  rendering.format =
      static_cast<QorDeserializer::FormatType>((options_.isMultiLine ? 1U : 0U) | (options_.isSummary ? 2U : 0U));
  rendering.isJson = options_.common.isJson;
  rendering.isRaw = options_.isRaw;
  rendering.fieldPath = options_.fieldPath;
  return rendering;
}

std::optional<ExitCode> EchoRun::WaitForEvents() {
  const auto deadline = begin_ + ToDuration(options_.timeout);
  while (true) {
    if (const auto ending = StartKnownEvents(); ending.has_value() || !echoing_.empty()) {
      return ending;
    }
    if (Clock::now() >= deadline) {
      if (!isComplete_) {  // a daemon that is silent may know the events
        session_.Finish(answers_.IsAny(), answers_.missing);
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
}

std::optional<ExitCode> EchoRun::StartKnownEvents() {
  nextLook_ = Clock::now() + kPeriod;
  isComplete_ = echo_.QueryEvents();
  answers_ = echo_.GetAnswers();
  std::vector<std::string> known;
  std::copy_if(pending_.begin(), pending_.end(), std::back_inserter(known),
               [this](const std::string& name) { return echo_.IsKnown(name, Options()); });
  std::optional<ExitCode> ending;
  for (const std::string& name : known) {
    pending_.erase(name);
    if (const auto failed = Start(name); failed.has_value()) {
      ending = failed;
    }
  }
  return ending;
}

std::optional<ExitCode> EchoRun::Start(const std::string& name) {
  const EchoResult result = echo_.Echo(name, Options(), [this](qorevent::SampleInfo&& sample) {
    samples_.Push([this, &sample](std::string& out) { printer_.Append(sample, out); });
  });
  switch (result) {
    case EchoResult::kEchoing: {
      echoing_.insert(name);
      const std::string reason = echo_.WhyNotDescribed(name);
      if (!reason.empty() && !options_.isRaw) {
        Complain("the samples of '" + Printable(name) + "' are printed as bytes: " + Printable(reason));
      }
      return std::nullopt;
    }
    case EchoResult::kUnknownField:
      Complain("'" + Printable(name) + "': " + Printable(echo_.FieldFault()));
      return kExitUsage;
    case EchoResult::kAmbiguous:
      Complain("there are several events '" + Printable(name) +
               "': choose one with --domain-id, --instance or --network-ip");
      return kExitFailure;
    case EchoResult::kUnknownEvent:  // it has gone meanwhile
      pending_.insert(name);
      return std::nullopt;
    default:
      Complain("'" + Printable(name) + "' cannot be echoed; -v tells more");
      return result == EchoResult::kBadParam ? kExitUsage : kExitFailure;
  }
}

ExitCode EchoRun::Receive() {
  bool isInterrupted = false;
  if (options_.duration > 0.0) {
    end_ = Clock::now() + ToDuration(options_.duration);
  }
  bool isFlowing = false;
  while (!IsOver()) {
    const auto wake = isFlowing ? stop_.WaitFor(kGather) : stop_.WaitFor(Until(NextDeadline()), samples_.Descriptor());
    isFlowing = WriteSamples() > 0;
    if (wake == StopSignal::Wake::kSignal) {
      isInterrupted = true;
      break;
    }
    if (!pending_.empty() && Clock::now() >= nextLook_) {
      StartKnownEvents();  // one that cannot be echoed does not end the others
    }
  }
  const std::uint64_t lost = StopAll();
  WriteSamples();  // what came while the reader was slow
  if (session_.Out().HasReaderGone()) {
    return kExitDone;
  }
  ReportLosses(lost);
  if (sampleCount_ > 0) {
    return kExitDone;
  }
  if (!isInterrupted) {
    Complain("no sample arrived within the time limit");
  }
  return isInterrupted ? kExitInterrupted : kExitTimeLimit;
}

std::uint64_t EchoRun::WriteSamples() {
  const std::uint64_t count = samples_.Take(text_);
  if (count > 0) {
    session_.Out().Write(text_);
    sampleCount_ += count;
  }
  return count;
}

bool EchoRun::IsOver() const {
  const auto now = Clock::now();
  return session_.Out().HasReaderGone() || session_.Out().HasFailed() || (limit_ > 0 && sampleCount_ >= limit_) ||
         (end_.has_value() && now >= *end_) ||
         (options_.timeout > 0.0 && sampleCount_ == 0 && now >= begin_ + ToDuration(options_.timeout));
}

EchoRun::Clock::time_point EchoRun::NextDeadline() const {
  auto deadline = pending_.empty() ? Clock::now() + kPeriod : nextLook_;
  if (end_.has_value()) {
    deadline = std::min(deadline, *end_);
  }
  if (options_.timeout > 0.0 && sampleCount_ == 0) {
    deadline = std::min(deadline, begin_ + ToDuration(options_.timeout));
  }
  return deadline;
}

std::uint64_t EchoRun::StopAll() {
  std::uint64_t lost = 0;
  for (const std::string& name : echoing_) {
    lost += echo_.GetLostCount(name);
    echo_.Stop(name);
  }
  return lost;
}

void EchoRun::ReportLosses(std::uint64_t lost) const {
  if (const std::uint64_t dropped = samples_.DroppedCount(); dropped > 0) {
    Complain("the output was too slow: " + std::to_string(dropped) + " samples are not printed");
  }
  if (lost > 0 && limit_ != 1) {  // between one sample and itself nothing is lost
    Complain(std::to_string(lost) + " samples were lost before they arrived here");
  }
}

}  // namespace qor::tools
