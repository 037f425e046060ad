// SPDX-License-Identifier: Apache-2.0
#include "tools/qorevent/echo_run.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <vector>

#include "tools/common/printable.h"
#include "tools/common/run_end.h"
#include "tools/common/sample_printer.h"

namespace qor::tools {
namespace {

constexpr std::chrono::milliseconds kGather{2};  ///< while samples come: to wake up for each would cost more than it

}  // namespace

EchoRun::EchoRun(const EchoCommandOptions& options, StopSignal& stop, Session& session)
    : options_(options),
      stop_(stop),
      session_(session),
      limit_(options.isOnce ? 1 : options.count),
      samples_(limit_),
      pending_(options.names.begin(), options.names.end()),
      limits_(options) {}

ExitCode EchoRun::Run() {
  if (!echo_.Initialize()) {
    return kExitFailure;
  }
  echo_.SetRendering(options_.layout.Rendering());
  const auto look = [this] { return StartKnownEvents(); };
  if (const auto ending = WaitForEvents(options_.names, limits_, stop_, session_, look); ending.has_value()) {
    return *ending;
  }
  for (const std::string& name : pending_) {
    ComplainStillLooking(session_, name);
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

EventLook EchoRun::StartKnownEvents() {
  nextLook_ = Clock::now() + RunLimits::kPeriod;
  echo_.QueryEvents();
  EventLook look;
  look.anyAnswered = echo_.GetAnswers().IsAny();
  look.missing = echo_.GetAnswers().missing;
  std::vector<std::string> known;
  std::ranges::copy_if(pending_, std::back_inserter(known),
                       [this](const std::string& name) { return echo_.IsKnown(name, Options()); });
  for (const std::string& name : known) {
    pending_.erase(name);
    if (const auto failed = Start(name); failed.has_value() && !look.ending.has_value()) {
      look.ending = failed;
    }
  }
  look.isAnyKnown = !echoing_.empty();
  if (look.isAnyKnown) {  // one that cannot be echoed does not end the others
    look.ending.reset();
  }
  return look;
}

std::optional<ExitCode> EchoRun::Start(const std::string& name) {
  const auto printer = std::make_shared<SamplePrinter>(options_.layout, name);
  const EchoResult result = echo_.Echo(
      name, Options(), [this, printer](qorevent::SampleInfo&& sample) { samples_.Push(printer->Print(sample)); });
  switch (result) {
    case EchoResult::kEchoing: {
      echoing_.insert(name);
      const std::string reason = echo_.WhyNotDescribed(name);
      if (!reason.empty() && !options_.layout.isRaw) {
        Complain("the samples of '" + Printable(name) + "' are printed as bytes: " + Printable(reason));
      }
      return std::nullopt;
    }
    case EchoResult::kUnknownField:
      Complain("'" + Printable(name) + "': " + Printable(echo_.FieldFault()));
      return kExitUsage;
    case EchoResult::kAmbiguous:
      ComplainAmbiguous(name);
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
  bool isFlowing = false;
  limits_.Begin();
  while (!IsOver()) {
    const auto end = limits_.Next(pending_.empty() ? Clock::now() + RunLimits::kPeriod : nextLook_, HasData());
    const auto wake = isFlowing ? stop_.WaitFor(kGather) : stop_.WaitFor(RunLimits::Until(end), samples_.Descriptor());
    isFlowing = WriteSamples() > 0;
    if (wake == StopSignal::Wake::kSignal) {
      isInterrupted = true;
      break;
    }
    if (!pending_.empty() && Clock::now() >= nextLook_) {
      StartKnownEvents();
    }
  }
  const std::uint64_t lost = StopAll();
  WriteSamples();  // what came while the reader was slow
  if (session_.Out().HasReaderGone()) {
    return kExitDone;
  }
  ComplainDropped(samples_.DroppedCount());
  if (lost > 0 && limit_ != 1) {  // between one sample and itself nothing is lost
    Complain(std::to_string(lost) + " samples were lost before they arrived here");
  }
  return EndOf(HasData(), isInterrupted);
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
  return session_.Out().HasReaderGone() || (limit_ > 0 && sampleCount_ >= limit_) || limits_.IsOver(HasData());
}

std::uint64_t EchoRun::StopAll() {
  std::uint64_t lost = 0;
  for (const std::string& name : echoing_) {
    lost += echo_.GetLostCount(name);
    echo_.Stop(name);
  }
  return lost;
}

}  // namespace qor::tools
