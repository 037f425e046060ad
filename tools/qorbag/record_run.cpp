// SPDX-License-Identifier: Apache-2.0
#include "tools/qorbag/record_run.h"

#include <unistd.h>

#include <algorithm>
#include <thread>

#include "src/common/name_pattern.h"
#include "src/common/qor_common.h"
#include "src/qorbag/event_selection.h"
#include "tools/common/near_names.h"
#include "tools/common/printable.h"
#include "tools/common/run_end.h"
#include "tools/qorbag/record_text.h"

namespace qor::tools {
namespace {

using qorbag::RecorderType;
using qortools::common::ToolsCommonClientManager;

constexpr std::chrono::milliseconds kPeriod{1000};
constexpr std::chrono::milliseconds kTick{50};  ///< how soon the end is noticed

}  // namespace

RecordRun::RecordRun(const RecordCommandOptions& options, StopSignal& stop)
    : options_(options), stop_(stop), out_(STDOUT_FILENO), live_(out_), recorder_(options.recorder) {
  recorder_.RecorderRegisterCallback([this](RecorderType type, const std::string& text) {
    const std::lock_guard lock(mutex_);
    notices_.emplace_back(type, text);
  });
}

ExitCode RecordRun::Run() {
  if (const auto ending = WaitForEvents(); ending.has_value()) {
    return *ending;
  }
  bool isWhole = false;
  std::thread recording([this, &isWhole] {
    isWhole = recorder_.Run();
    const std::lock_guard lock(mutex_);
    isOver_ = true;
    over_.notify_all();
  });
  std::thread deadline([this] { StopInTime(); });  // this thread may have to wait for a slow reader
  Watch();
  recorder_.Stop();
  recording.join();
  deadline.join();
  return Finish(isWhole);
}

void RecordRun::StopInTime() {
  std::unique_lock lock(mutex_);
  if (options_.duration <= 0) {
    return;
  }
  const auto length = std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(options_.duration));
  if (!over_.wait_for(lock, length, [this] { return isOver_.load(); })) {
    recorder_.Stop();
  }
}

std::optional<ExitCode> RecordRun::WaitForEvents() {
  const auto deadline =
      Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(options_.timeout));
  ToolsCommonClientManager::GetInstance()->FindMaintaindService();
  while (true) {
    Known known;
    if (Look(known)) {
      ComplainMissing(known.answers.missing, "warning");
      WarnOfExcluded(known);
      return std::nullopt;
    }
    if (Clock::now() >= deadline) {
      return EndUnknown(known);
    }
    if (stop_.WaitFor(kPeriod) == StopSignal::Wake::kSignal) {
      return kExitInterrupted;
    }
  }
}

/// A name that is mistyped leaves nothing out.
void RecordRun::WarnOfExcluded(const Known& known) const {
  for (const std::string& name : options_.recorder.excluded) {
    if (!common::IsNamePattern(name) && std::ranges::find(known.names, name) == known.names.end()) {
      Complain("warning: no event is named '" + Printable(name) + "', so none is left out by it." +
               DidYouMean(name, known.names));
    }
  }
}

/// With all events wanted, a daemon that answers is enough: there may be some later.
bool RecordRun::Look(Known& known) const {
  const qorbag::EventSelection selection(options_.recorder);
  const auto proxies = ToolsCommonClientManager::GetInstance()->GetCurrentProxyList();
  QorCommon::EventList merged;
  QorCommon::GetInstance().QueryAllRecords(proxies, merged, &known.answers);
  for (const auto& record : merged) {
    known.names.push_back(record.eventName);
  }
  return options_.recorder.all ? known.answers.IsAny() : !selection.Select(merged).empty();
}

ExitCode RecordRun::EndUnknown(const Known& known) const {
  if (ToolsCommonClientManager::GetInstance()->GetProxyListSize() == 0) {
    ComplainNoDaemon();
    return kExitFailure;
  }
  if (!known.answers.IsAll()) {
    ComplainMissing(known.answers.missing, "error");
    return kExitFailure;
  }
  for (const std::string& name : options_.recorder.events) {
    if (common::MatchesAny(options_.recorder.excluded, name)) {
      Complain("the event '" + Printable(name) + "' is excluded");
    } else if (std::ranges::find(known.names, name) != known.names.end()) {
      Complain("there is an event '" + Printable(name) + "', but not with the instance, domain or address given");
    } else {
      Complain("no event is named '" + Printable(name) + "'." + DidYouMean(name, known.names));
    }
  }
  for (const std::string& pattern : options_.recorder.patterns) {
    const bool isKnown =
        std::ranges::any_of(known.names, [&](const std::string& name) { return common::MatchesName(pattern, name); });
    Complain(isKnown ? "no event that matches '" + Printable(pattern) +
                           "' has the instance, domain or address given and is not excluded"
                     : "no event matches '" + Printable(pattern) + "'");
  }
  return kExitNoMatch;
}

void RecordRun::Watch() {
  auto next = Clock::now();
  while (!isOver_) {
    isInterrupted_ = stop_.WaitFor(kTick) == StopSignal::Wake::kSignal;
    ShowNotices();
    if (isInterrupted_) {
      return;
    }
    if (Clock::now() >= next) {
      next += kPeriod;
      ShowStatus();
    }
  }
}

void RecordRun::ShowStatus() {
  const bool isLive = out_.IsTerminal() && !options_.output.isJson;
  if (!isLive && !options_.output.isJson) {
    return;
  }
  const qorbag::RecorderStatus status = recorder_.GetStatus();
  if (options_.output.isJson) {
    WriteJsonLine(status, "status");
  } else {
    live_.Draw(RecordTable(status, shown_), RecordTitle(status, shown_));
  }
  shown_ = status;
}

/// On a terminal, too, one line: a status comes each second.
void RecordRun::WriteJsonLine(const qorbag::RecorderStatus& status, const char* type) {
  out_.Write(RecordJson(status, type).dump(-1, ' ', true, nlohmann::json::error_handler_t::replace) + "\n");
}

void RecordRun::ShowNotices() {
  std::vector<Notice> notices;
  {
    const std::lock_guard lock(mutex_);
    notices.swap(notices_);
  }
  for (const auto& [type, text] : notices) {
    ShowNotice(type, text);
  }
}

void RecordRun::ShowNotice(RecorderType type, const std::string& text) {
  const std::string name = "'" + Printable(text) + "'";
  std::string notice;
  switch (type) {
    case RecorderType::kSubscribing:
    case RecorderType::kNothingSubscribed:
      return;  // the table tells, and the reports before it
    case RecorderType::kFileOpened:
      hasFile_ = true;
      if (!out_.IsTerminal() && !options_.output.isJson) {
        out_.Write("Recording to " + Printable(text) + "\n");
      }
      return;
    case RecorderType::kUnknownEvent:
      notice = "no event is named " + name + "; still looking for it";
      break;
    case RecorderType::kFirstDrop:
      notice = "writing is too slow: samples are dropped, the oldest first";
      break;
    case RecorderType::kNoCompressor:
      notice = name + " is not compressed: the compressor cannot be set up";
      break;
    case RecorderType::kDdsFailed:
    case RecorderType::kSomeipFailed:
      notice =
          name +
          (type == RecorderType::kDdsFailed ? " cannot be received over DDS" : " cannot be received over SOME/IP") +
          "; -v tells more";
      break;
    case RecorderType::kDiskFull:
      notice = "the recording ends: the disk has no more room for " + name + " (see --min-space)";
      break;
    case RecorderType::kSameName:
      notice = "cannot record to " + name + ": there is a recording of that name already";
      break;
    case RecorderType::kOpenFailed:
      notice = "cannot record to " + name + ": is the folder there, and may you write to it?";
      break;
    case RecorderType::kCompressionFailed:
      notice = "a part of " + name + " could not be compressed and is missing";
      break;
    case RecorderType::kCloseFailed:
      notice = name + " could not be closed; 'qorbag fix' makes a bag of it";
      break;
    case RecorderType::kRenameFailed:
      notice = name + " could not be given its name; it is complete";
      break;
    case RecorderType::kWriteFailed:
      notice = "the recording ends: writing to " + name + " failed";
      break;
  }
  hasFailed_ = hasFailed_ || (type != RecorderType::kUnknownEvent && type != RecorderType::kFirstDrop);
  live_.Leave();
  Complain(notice);
}

ExitCode RecordRun::Finish(bool isWhole) {
  ShowNotices();
  const qorbag::RecorderStatus status = recorder_.GetStatus();
  if (options_.output.isJson) {
    WriteJsonLine(status, "summary");
  } else if (hasFile_) {
    out_.Write(RecordSummary(status));
  }
  if (!isWhole || hasFailed_ || out_.HasFailed()) {
    return kExitFailure;
  }
  return EndOf(status.written != 0, isInterrupted_);
}

}  // namespace qor::tools
