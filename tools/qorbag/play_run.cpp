// SPDX-License-Identifier: Apache-2.0
#include "tools/qorbag/play_run.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "platform/ipc/runtime_dir.h"
#include "platform/ipc/unique_fd.h"
#include "src/common/name_pattern.h"
#include "src/qorbag/port_range.h"
#include "tools/common/keyboard.h"
#include "tools/common/log_setup.h"
#include "tools/common/number_text.h"
#include "tools/common/printable.h"
#include "tools/qorbag/bag_text.h"
#include "tools/qorbag/opened_bags.h"

namespace qor::tools {
namespace {

using qorbag::PlayCode;
using qorbag::PlayerPrintType;

std::string Joined(const std::vector<std::string>& texts) {
  std::string joined;
  for (const std::string& text : texts) {
    joined += (joined.empty() ? "" : ", ") + text;
  }
  return Printable(joined);
}

/// Edges alone: what is not read now does not wake again.
void Watch(int epoll, int fd) {
  epoll_event event{};
  event.events = EPOLLIN | EPOLLET;
  ::epoll_ctl(epoll, EPOLL_CTL_ADD, fd, &event);
}

/// All events that the command line names; patterns of events that are left out may match none.
std::vector<std::string> NamedEvents(const qorbag::PlayerOptions& options) {
  std::vector<std::string> names = options.eventNames;
  for (const auto& [oldName, newName] : options.eventRenames) {
    names.push_back(oldName);
  }
  if (!options.traceEvent.empty()) {
    names.push_back(options.traceEvent.substr(0, options.traceEvent.find('[')));
  }
  std::ranges::remove_copy_if(options.excluded, std::back_inserter(names), common::IsNamePattern);
  return names;
}

}  // namespace

PlayRun::PlayRun(const PlayCommandOptions& options) : options_(options), out_(STDOUT_FILENO), player_(options.player) {}

int PlayRun::Run() {
  SetUpQuietLog(options_.output.verbosity);
  if (!player_.CheckThePlayerOptions()) {
    Complain("an option has a value that cannot be; 'qorbag play --help' says what is expected");
    return kExitUsage;
  }
  if (!options_.player.port.empty() && !qorbag::CheckInputPortInfo(options_.player.port)) {
    Complain("--port: expected two ports, the lower one first, such as 30000,30100");
    return kExitUsage;
  }
  player_.ShowThePlayerOptions();
  if (!Open()) {
    return kExitFailure;
  }
  if (const auto ending = CheckEventNames(NamedEvents(options_.player), player_.Bags()); ending.has_value()) {
    return *ending;
  }
  Play();
  return Finish();
}

bool PlayRun::Open() {
  if (!player_.OpenRead()) {
    ComplainUnreadable(player_.UnreadableFile());
    return false;
  }
  if (!player_.InitNodeHandle()) {
    Complain("the middleware refuses to make a node");
    return false;
  }
  return true;
}

void PlayRun::Play() {
  player_.RegPrintCallback([this](PlayerPrintType type, const qorbag::PlayerEchoInfo& /*info*/) { Follow(type); });
  const ipc::UniqueFd done(::eventfd(0, EFD_CLOEXEC));
  std::thread worker([&] {
    const auto [start, end] = player_.CalculateTime();
    code_ = player_.Run(start, end);
    isDone_ = true;
    ::eventfd_write(done.Get(), 1);
  });
  Attend(done.Get());
  worker.join();
}

/// On the playing thread.
void PlayRun::Follow(PlayerPrintType type) {
  switch (type) {
    case PlayerPrintType::kBeforeDelay:
      begin_ = std::chrono::steady_clock::now();  // it may be stopped before it begins
      phase_ = Phase::kWaiting;
      break;
    case PlayerPrintType::kBegin:
      begin_ = std::chrono::steady_clock::now();
      phase_ = Phase::kPlaying;
      break;
    case PlayerPrintType::kFinished:
      end_ = std::chrono::steady_clock::now();
      phase_ = Phase::kFinishing;
      break;
    case PlayerPrintType::kCannotDecompress:
      isDamaged_ = true;
      break;
    case PlayerPrintType::kEmpty:
    case PlayerPrintType::kMessage:
      break;
  }
}

void PlayRun::Attend(int doneFd) {
  constexpr std::chrono::milliseconds kPeriod{100};
  Keyboard keyboard;
  const ipc::UniqueFd events(::epoll_create1(EPOLL_CLOEXEC));
  Watch(events.Get(), doneFd);
  if (keyboard.IsOn()) {
    Watch(events.Get(), keyboard.Fd());
  }
  while (!isDone_) {
    if (stop_.WaitFor(kPeriod, events.Get()) == StopSignal::Wake::kSignal) {
      player_.Stop();
      break;
    }
    epoll_event ready{};
    ::epoll_wait(events.Get(), &ready, 1, 0);
    for (const int key : keyboard.Read()) {
      Press(key);
    }
    TellProblems();
    if (line_.IsShown() && !options_.player.quiet && !isDone_) {
      line_.Draw(ProgressText() + (keyboard.IsOn() ? "   space: pause, s: step, q: quit" : ""));
    }
  }
  line_.Clear();
}

void PlayRun::Press(int key) {
  switch (key) {
    case ' ':
      player_.Pause();
      break;
    case 's':
    case Keyboard::kRightArrow:
      player_.Step();
      break;
    case 't':
      player_.Trace();
      break;
    case 'q':
      player_.Stop();
      break;
    default:
      break;
  }
}

/// What does not keep from playing, but is to be known while it goes on. Once.
void PlayRun::TellProblems() {
  if (phase_ >= Phase::kWaiting && !player_.HasDaemon() && !std::exchange(isDaemonTold_, true)) {
    line_.Clear();
    Complain("warning: no daemon answers in '" + Printable(ipc::RuntimeDirectory()) +
             "': what is offered live is not known, and SOME/IP events are not found by others");
  }
  if (const int error = player_.ClockError(); error != 0 && !std::exchange(isClockTold_, true)) {
    line_.Clear();
    Complain(std::string("the clock was not set: ") + std::strerror(error) +
             (error == EPERM ? "; it needs root, or the capability CAP_SYS_TIME" : ""));
  }
  if (isDamaged_ && !std::exchange(isDamageTold_, true)) {
    line_.Clear();
    Complain("a part of the bag cannot be decompressed: its messages are missing; 'qorbag check' tells where");
  }
}

std::string PlayRun::ProgressText() const {
  switch (phase_) {
    case Phase::kPreparing:
      return "Preparing to play";
    case Phase::kWaiting:
      return "Waiting before the first message";
    case Phase::kFinishing:
      return CountText(player_.Published(), "message") + " published; waiting until subscribers have them";
    case Phase::kPlaying:
      break;
  }
  return std::string(player_.IsPaused() ? "Paused at " : "Playing ") + FixedText(player_.ElapsedSeconds(), 1) + " / " +
         FixedText(player_.TotalSeconds(), 1) + " s   " + CountText(player_.Published(), "message") +
         (player_.Failed() != 0 ? ", " + std::to_string(player_.Failed()) + " failed" : "");
}

int PlayRun::Finish() {
  TellProblems();
  const ExitCode ending = Ending();
  if (code_ == PlayCode::kDone || code_ == PlayCode::kStopped) {
    WriteSummary();
  }
  return out_.HasFailed() ? kExitFailure : ending;
}

ExitCode PlayRun::Ending() const {
  switch (code_) {
    case PlayCode::kNoMessage:
      ComplainNothing();
      return kExitNoMatch;
    case PlayCode::kLive:
      ComplainLive();
      return kExitFailure;
    case PlayCode::kUnknown:
      Complain("a daemon does not answer: what is offered live is not known, and nothing is played over it");
      return kExitFailure;
    case PlayCode::kPorts:
      ComplainPorts();
      return kExitFailure;
    case PlayCode::kNoPublisher:
      Complain("none of the events can be published here; --ip 127.0.0.1 plays them on this host alone");
      return kExitFailure;
    case PlayCode::kStopped:
      if (player_.Published() == 0) {
        return kExitInterrupted;
      }
      break;
    case PlayCode::kDone:
      break;
  }
  return FailedPart() || player_.ClockError() != 0 ? kExitFailure : kExitDone;
}

void PlayRun::ComplainNothing() const {
  const bool isEmpty = std::ranges::all_of(player_.Bags(), [](const qorbag::QorBagFile& bag) {
    const auto& indexes = bag.Content()->indexes;
    return std::ranges::all_of(indexes, [](const auto& index) { return index.second.empty(); });
  });
  Complain(isEmpty ? "there is no message to play" : "no message is of these events and this time");
}

void PlayRun::ComplainLive() const {
  Complain("already offered live: " + Joined(player_.Routes().LiveEventTexts()) +
           ". Leave out what is live (-x NAME); DDS events can also be played under another name "
           "(--remap NAME:=OTHER), or in another domain (--domain-id N)");
}

void PlayRun::ComplainPorts() const {
  Complain("the ports " + player_.Routes().MissingPorts() + " of recorded SOME/IP services are in use or needed twice" +
           (options_.player.port.empty() ? "; give others to choose from, such as --port 30000,30100"
                                         : ", and too few of " + Printable(options_.player.port) + " are free"));
}

bool PlayRun::FailedPart() const {
  if (const auto unplayed = player_.Routes().UnplayedEvents(); !unplayed.empty()) {
    Complain("not played, because they cannot be published here: " + Joined(unplayed));
  }
  if (player_.Failed() != 0) {
    Complain(CountText(player_.Failed(), "message") + (player_.Failed() == 1 ? " was" : " were") +
             " not published; -v tells more");
  }
  const bool isLeft = code_ == PlayCode::kDone && !player_.IsFlushed();
  if (isLeft) {
    Complain("some subscribers have not taken all of it");
  }
  return player_.Failed() != 0 || isLeft;
}

void PlayRun::WriteSummary() {
  constexpr int kDigits = 3;
  const double seconds = std::chrono::duration<double>(end_ - begin_).count();
  if (options_.output.isJson) {
    out_.WriteJson({{"messages", player_.Published()},
                    {"failed", player_.Failed()},
                    {"seconds", seconds},
                    {"complete", code_ == PlayCode::kDone}});
  } else {
    out_.Write("Played " + CountText(player_.Published(), "message") + " in " + FixedText(seconds, kDigits) + " s\n");
  }
}

}  // namespace qor::tools
