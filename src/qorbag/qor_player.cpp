// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/qor_player.h"

#include <algorithm>
#include <chrono>
#include <cmath>

#include "src/common/qor_common.h"
#include "src/qorbag/player_log.h"
#include "src/qorbag/player_option_check.h"

namespace qor::qorbag {
namespace {

constexpr double kMilli = 1000.0;
constexpr std::uint32_t kLogIntervalMs = 1000;

std::uint64_t After(std::uint64_t time, double seconds) {
  return TimeAfter(time, static_cast<std::uint64_t>(std::llround(seconds * kMilli)));
}

}  // namespace

QorPlayer::QorPlayer(PlayerOptions const& options, std::unique_ptr<PlayerTime> time)
    : options_(options),
      time_(time != nullptr ? std::move(time) : std::make_unique<SystemPlayerTime>()),
      control_(*time_, !options_.traceEvent.empty()),
      pacer_(options_, *time_, control_),
      isPauseWanted_(options_.pause) {}

QorPlayer::~QorPlayer() = default;

// --- Before playing ---

bool QorPlayer::CheckThePlayerOptions() const { return qorbag::CheckThePlayerOptions(options_); }

void QorPlayer::ShowThePlayerOptions() const { qorbag::ShowThePlayerOptions(options_); }

bool QorPlayer::InitNodeHandle() {
  node_ = QorCommon::GetInstance().InitializeNode("/qorbag/play", "");
  if (node_ != nullptr) {
    routes_ = std::make_unique<PlayRoutes>(*node_, options_);
  }
  return node_ != nullptr;
}

bool QorPlayer::OpenRead() {
  if (options_.files.empty() || options_.duration < 0) {
    kPlayerLog.Error() << "Qorplayer no bag file to play or duration time is less then zero!";
    return false;
  }
  for (const std::string& file : options_.files) {
    if (!bags_.emplace_back().OpenReadByName(file)) {
      unreadableFile_ = file;
      return false;
    }
  }
  return true;
}

std::pair<std::uint64_t, std::uint64_t> QorPlayer::CalculateTime() {
  QorView all;
  for (QorBagFile& bag : bags_) {
    all.AddQuery(bag, 0, UINT64_MAX);
  }
  const std::uint64_t begin = After(all.GetBeginTime(), options_.startTime);
  return {begin, IsSet(options_.duration) ? After(begin, options_.duration) : UINT64_MAX};
}

// --- Playing ---

PlayCode QorPlayer::Run(std::uint64_t startTime, std::uint64_t endTime) {
  const QorEventQuery wanted(options_.eventNames, options_.excluded);
  QorView view;
  for (QorBagFile& bag : bags_) {
    view.AddQuery(bag, wanted, startTime, endTime);
  }
  if (view.Size() == 0) {
    Print(PlayerPrintType::kEmpty);
    return PlayCode::kNoMessage;
  }
  if (const auto ending = routes_ != nullptr ? routes_->Prepare(view) : PlayCode::kNoPublisher; ending.has_value()) {
    return *ending;
  }
  DoRun(view);
  return control_.IsStopped() ? PlayCode::kStopped : PlayCode::kDone;
}

void QorPlayer::DoRun(const QorView& view) {
  const PreciseSleep precise;
  const std::uint64_t bagStart = view.GetBeginTime();
  PreTimeHandle(bagStart);
  while (!control_.IsStopped()) {
    RunPass(view);
    if (!options_.loop || control_.IsStopped()) {
      break;
    }
    SetSysTime(bagStart);
  }
  Print(PlayerPrintType::kFinished);
  if (published_ != 0) {
    WaitForFlush();
  }
}

void QorPlayer::PreTimeHandle(std::uint64_t bagStart) {
  constexpr double kNanosInSecond = 1e9;
  Print(PlayerPrintType::kBeforeDelay);
  if (!Sleep(NanosecondsOf(options_.delayTime * kNanosInSecond))) {
    return;
  }
  SetSysTime(bagStart);
  Print(PlayerPrintType::kBegin);
}

void QorPlayer::SetSysTime(std::uint64_t bagStart) {
  constexpr std::uint64_t kMillisInSecond = 1000;
  constexpr std::uint64_t kNanosInMilli = 1'000'000;
  kPlayerLog.Info() << "[QorPlayer][Wait to pub msg finished]";
  if (!options_.adjustClock) {
    return;
  }
  clockError_ = time_->SetRealTime(bagStart);
  if (clockError_ == 0) {
    kPlayerLog.Info() << "[QorPlayer][Set time][tvsec=" << bagStart / kMillisInSecond
                      << ",tvnsec=" << bagStart % kMillisInSecond * kNanosInMilli << "]";
  } else {
    kPlayerLog.Error() << "[QorPlayer][Set time failed][error=" << clockError_.load() << "]";
  }
}

void QorPlayer::RunPass(const QorView& view) {
  const std::uint64_t bagStart = view.GetBeginTime();
  double total = MillisecondsBetween(bagStart, view.GetEndTime()) / kMilli;
  if (IsSet(options_.duration)) {
    total = std::min(total, options_.duration);
  }
  if (total > 0) {
    totalSeconds_ = total;
  }
  MessageReadAhead messages(view);
  bool isMore = messages.WaitForMessage();  // time begins when there is one
  pacer_.BeginPass(bagStart);
  for (; isMore && !control_.IsStopped(); isMore = messages.WaitForMessage()) {
    if (!DoPublish(messages.Take()) && !control_.IsStopped()) {
      ++failed_;
    }
  }
}

bool QorPlayer::DoPublish(const MessageReadAhead::Message& message) {
  const PlayRoutes::Route& route = routes_->At(*message.connection);
  if (!IsRead(message)) {
    return false;
  }
  if (!preparer_.PreparePubMsg(route.kind, message.bagVersion, message.payload)) {
    kPlayerLog.Error("PreparePubMsg_" + route.name, kLogIntervalMs) << "Qorbag play: PreparePubMsg failed!";
    return false;
  }
  return PubInTurn(route, message.time);
}

bool QorPlayer::IsRead(const MessageReadAhead::Message& message) {
  if (message.result != QorBagFile::kOk) {
    kPlayerLog.Error("DoPublish", kLogIntervalMs) << "Qorbag play: DoPublish WriteMsg to buff failed!";
    if (message.result == QorBagFile::kDecompressionFailed && !isReadFailureTold_) {
      isReadFailureTold_ = true;
      Print(PlayerPrintType::kCannotDecompress);
    }
    return false;
  }
  if (message.payload.empty()) {
    kPlayerLog.Error("DoPublish size", kLogIntervalMs) << "Qorbag play: DoPublish Get buffer size failed!";
    return false;
  }
  kPlayerLog.Verbose() << "Qorbag play: DoPublish message size is: " << message.payload.size();
  return true;
}

bool QorPlayer::PubInTurn(const PlayRoutes::Route& route, std::uint64_t time) {
  if (isPauseWanted_ || IsPauseEvent(route)) {
    isPauseWanted_ = false;
    control_.EnterPause();
    PrintState();
  }
  bool isPublished = false;
  switch (pacer_.AwaitTurn(time)) {
    case MessagePacer::Turn::kStopped:
      return false;
    case MessagePacer::Turn::kStep:
      isPublished = PubStep(route, time);
      break;
    case MessagePacer::Turn::kInTime:
      isPublished = PubMsg(route, time);
      break;
  }
  pacer_.FinishMessage();
  return isPublished;
}

bool QorPlayer::IsPauseEvent(const PlayRoutes::Route& route) const {
  const bool isPause = route.isTraced && control_.IsTraceOn();
  if (isPause) {
    std::string pureName;
    std::string uuid;
    static_cast<void>(QorCommon::GetInstance().GetSubEventName(options_.traceEvent, pureName, uuid));
    kPlayerLog.Info() << "[IsPauseEvent][eventName=" << route.name << ", pureEventName=" << pureName
                      << ", uuid=" << uuid << "]";
  }
  return isPause;
}

bool QorPlayer::PubMsg(const PlayRoutes::Route& route, std::uint64_t time) {
  if (!pacer_.AwaitMoment()) {
    return false;
  }
  if (!DoPubMsg(route, time)) {
    kPlayerLog.Error("PubMsg_" + route.name, kLogIntervalMs) << "Qorbag play: PubMsg failed!";
    return false;
  }
  kPlayerLog.Verbose() << "Qorbag play: Pub msg success for '" << route.name << "' in time "
                       << static_cast<double>(time) / kMilli << " seconds.";
  return true;
}

bool QorPlayer::PubStep(const PlayRoutes::Route& route, std::uint64_t time) {
  pacer_.BeginStep();
  const bool isPublished = DoPubMsg(route, time);
  if (isPublished) {
    kPlayerLog.Verbose() << "Qorbag play: pub msg success!";
    kPlayerLog.Verbose() << "Event name: " << route.name;
    kPlayerLog.Verbose() << "Timestamp: " << static_cast<double>(time) / kMilli;
  }
  return isPublished;
}

bool QorPlayer::DoPubMsg(const PlayRoutes::Route& route, std::uint64_t time) {
  if (route.publisher == nullptr) {
    kPlayerLog.Error("DoPublish_" + route.name, kLogIntervalMs)
        << (route.kind == MessagePreparer::Kind::kRaw
                ? "Qorbag play: DoPublish can't find eventName to publish using raw data!"
                : "Qorbag play: DoPublish can't find eventName to publish!");
    return false;
  }
  const SteadyNs lateness = time_->Now() - pacer_.Moment();
  if (!route.publisher->Publish(preparer_.Payload())) {
    return false;
  }
  ++published_;
  if (!options_.quiet) {
    Print(PlayerPrintType::kMessage, {route.name, time, lateness, control_.IsPaused(), control_.IsTraceOn()});
  }
  return true;
}

void QorPlayer::WaitForFlush() {
  constexpr std::chrono::milliseconds kGrace{300};  // for subscribers that are not reliable
  isFlushed_ = routes_->WaitForFlush([this] { return !control_.IsStopped(); });
  const SteadyNs end = time_->Now() + kGrace;
  while (time_->Now() < end) {
    time_->SleepUntil(end);
  }
}

bool QorPlayer::Sleep(SteadyNs length) {
  const SteadyNs end = time_->Now() + length;
  while (!control_.IsStopped() && time_->Now() < end) {
    time_->SleepUntil(end);
  }
  return !control_.IsStopped();
}

// --- Control, and how it goes ---

void QorPlayer::Pause() {
  control_.Pause();
  PrintState();
}

void QorPlayer::Trace() {
  if (control_.Trace()) {
    PrintState();
  }
}

double QorPlayer::GetPlayProgress() const {
  constexpr double kPercent = 100.0;
  const double total = totalSeconds_;
  const double share = total > 0 ? pacer_.ElapsedSeconds() / total : 0.0;
  kPlayerLog.Debug() << "GetPlayProgress: " << share * kPercent << "%";
  return share;
}

void QorPlayer::PrintState() {
  if (!options_.quiet) {
    Print(PlayerPrintType::kMessage, {.isPaused = control_.IsPaused(), .isTraceOn = control_.IsTraceOn()});
  }
}

void QorPlayer::Print(PlayerPrintType type, const PlayerEchoInfo& info) {
  const std::lock_guard lock(printMutex_);
  if (printCallback_ != nullptr) {
    printCallback_(type, info);
  }
}

}  // namespace qor::qorbag
