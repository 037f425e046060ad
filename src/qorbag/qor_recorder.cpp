// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/qor_recorder.h"

#include <pthread.h>

#include <algorithm>
#include <map>
#include <new>
#include <string_view>
#include <thread>
#include <tuple>
#include <utility>

namespace qor::qorbag {
namespace {

constexpr std::uint32_t kLogIntervalMs = 500;

template <class Clock>
std::uint64_t MillisecondsOf() {
  const auto now = Clock::now().time_since_epoch();
  return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

/// Runs `work` on a thread with that name, as far as the kernel has room for it.
template <class Work>
std::thread StartThread(std::string_view name, Work work) {
  constexpr std::size_t kLongest = 15;
  return std::thread([name = std::string(name.substr(0, kLongest)), work] {
    ::pthread_setname_np(::pthread_self(), name.c_str());
    work();
  });
}

}  // namespace

QorRecorder::QorRecorder(const RecorderOptions& options)
    : options_(options),
      report_([this](RecorderType type, const std::string& text) { Report(type, text); }),
      files_(options_, report_),
      queue_(options_.bufferSize, [this] { hasDropped_.store(true); }),
      subscriptions_(options_, report_,
                     [this](RecordedEvent& event, const com::RecvBuffer& sample) { OnReceived(event, sample); }) {}

void QorRecorder::Report(RecorderType type, const std::string& text) {
  if (callback_ != nullptr) {
    const std::lock_guard lock(callbackMutex_);
    callback_(type, text);
  }
}

bool QorRecorder::Run() {
  if (!CheckTheRecorderOptions(options_)) {
    log_.Error() << "QorRecorder the RecorderOptions is error!";
    return false;
  }
  if (options_.events.empty() && options_.patterns.empty() && !options_.all) {
    log_.Warn() << "Recorder no event specified.";
    return false;
  }
  Start();
  if (isStopped_) {
    isRunning_ = false;
    return true;
  }
  isWhole_ = files_.StartWriting();
  if (isWhole_ && RecordReady()) {
    isWhole_ = subscriptions_.Init();
    if (isWhole_) {
      InitStartTime();
      RunThreads();
    }
  }
  isRunning_ = false;
  subscriptions_.Shutdown();
  DeleteBuffQueue();
  files_.StopWriting();
  CountLostChunk();
  const SampleCounts counts = queue_.GetCounts();
  log_.Info() << "Recorder run finish.[received=" << counts.received << ", dropped=" << counts.dropped << "]";
  return isWhole_ && files_.IsWhole();
}

void QorRecorder::Start() {
  const std::lock_guard lock(startMutex_);
  log_.Info() << "Set doRecordEnabled true!";
  isRunning_ = true;
}

void QorRecorder::InitStartTime() {
  startRealTime_ = GetCurrentRealTime();
  startMonotonicTime_ = GetCurrentMonotonicTime();
  files_.SetStartTime(startMonotonicTime_);
  queue_.SetStartTime(startMonotonicTime_);
  log_.Verbose() << "Recorder start countdown[startRealtime = " << startRealTime_
                 << ", startMonotonicTime = " << startMonotonicTime_.load() << "]";
}

void QorRecorder::RunThreads() {
  std::thread subscriber = StartThread("qorbag_dosub", [this] { Subscribe(); });
  std::thread writer = StartThread("qorbag_dowrite", [this] { DoRecord(); });
  std::thread flusher = StartThread("qorbag_dobaghandle", [this] { BagHandle(); });
  writer.join();
  subscriber.join();
  flusher.join();
  endTime_ = GetCurrentMonotonicTime();
}

std::uint64_t QorRecorder::GetCurrentRealTime() { return MillisecondsOf<std::chrono::system_clock>(); }
std::uint64_t QorRecorder::GetCurrentMonotonicTime() { return MillisecondsOf<std::chrono::steady_clock>(); }

/// Stop may come from a signal handler, which can wake nobody.
void QorRecorder::SleepWhileRunning(std::chrono::milliseconds time) const {
  constexpr std::chrono::milliseconds kSlice{20};
  const auto end = std::chrono::steady_clock::now() + time;
  for (auto now = std::chrono::steady_clock::now(); RecordReady() && now < end;
       now = std::chrono::steady_clock::now()) {
    std::this_thread::sleep_for(std::min<std::chrono::nanoseconds>(kSlice, end - now));
  }
}

void QorRecorder::OnReceived(RecordedEvent& event, const com::RecvBuffer& sample) {
  if (event.IsMbuf()) {
    SubscribeMbufCallback(event, sample);
  } else {
    SubscribeCallback(event, sample);
  }
}

void QorRecorder::SubscribeMbufCallback(RecordedEvent& event, const com::RecvBuffer& sample) {
  if (!RecordReady()) {
    log_.Verbose() << "Stop record, free mbuf.";
    return;
  }
  SubscribeCallback(event, sample);
}

/// What arrives when the recording is over is not a part of it: otherwise a fast event would keep the writer busy for
/// ever.
void QorRecorder::SubscribeCallback(RecordedEvent& event, const com::RecvBuffer& sample) {
  if (!RecordReady()) {
    return;
  }
  if (!CheckSkipFrame(event)) {
    queue_.CountSkipped(event);
    return;
  }
  if (sample.payload.empty()) {
    log_.Warn("QorRecorder_" + event.eventName, kLogIntervalMs) << "Recorder event name is null or msg size is zero.";
    queue_.CountSkipped(event);
    return;
  }
  const EventQuota::Take take = event.Quota().TakeOne();
  if (take == EventQuota::Take::kNone) {
    queue_.CountSkipped(event);
    return;
  }
  OutgoingMessage message;
  if (PrepareOutOutgoingMessage(event, sample, message)) {
    DoQueue(event, std::move(message));
  } else {
    CountNoMemory(event);
  }
  CheckLimit(event.eventName, take);
}

bool QorRecorder::CheckSkipFrame(RecordedEvent& event) const {
  if (options_.skipFrame == 0) {
    return true;
  }
  const bool isKept = event.Quota().CheckSkipFrame();
  if (isKept) {
    log_.Verbose() << "Recorder record one frame after checking skipFrame_.";
  } else {
    log_.Verbose() << "[Recorder][Recorder drop one frame after checking skipFrame_]";
  }
  return isKept;
}

/// The payload of an mbuf event is the encoded sample: private data and chain.
bool QorRecorder::PrepareOutOutgoingMessage(RecordedEvent& event, const com::RecvBuffer& sample,
                                            OutgoingMessage& message) {
  message.source = &event;
  message.time = GetCurrentMonotonicTime();
  message.payload = std::move(event.NextBuffer());
  try {
    sample.KeepPayload(message.payload);
  } catch (const std::bad_alloc&) {
    return false;
  }
  log_.Verbose() << (event.IsMbuf() ? "Prepare outgoing message using RawBufferForRawData[eventName = "
                                    : "Prepare outgoing message using RawBuffer[eventName = ")
                 << event.eventName << ", recordTime = " << message.time << "]";
  return true;
}

void QorRecorder::DoQueue(RecordedEvent& event, OutgoingMessage&& message) {
  try {
    queue_.Push(std::move(message), event.NextBuffer());
  } catch (const std::bad_alloc&) {
    CountNoMemory(event);
  }
}

void QorRecorder::CountNoMemory(RecordedEvent& event) {
  log_.Error("QorRecorder_" + event.eventName, kLogIntervalMs)
      << "new msgBuff failed, PrepareOutOutgoingMessage for RawBuffer failed.";
  hasDropped_ = true;
  queue_.CountDropped(event);
}

void QorRecorder::CheckLimit(const std::string& name, EventQuota::Take take) {
  if (take != EventQuota::Take::kLast) {
    return;
  }
  {
    const std::lock_guard lock(unsubscribeMutex_);
    limitReached_.insert(name);
  }
  if (subscriptions_.IsEveryQuotaExhausted() && isRunning_.exchange(false)) {
    log_.Warn() << "Recorder no subscirber.";
  }
}

void QorRecorder::Subscribe() {
  constexpr std::chrono::milliseconds kPause{1000};
  constexpr int kPassesBetweenChecks = 2;
  int pass = 0;
  while (RecordReady()) {
    if (!subscriptions_.Subscribe([this] { return RecordReady(); })) {
      isRunning_ = false;
    }
    if (pass == kPassesBetweenChecks) {
      pass = 0;
      if (!files_.CheckDisk()) {
        log_.Error() << "Free disk is not enough.";
        isRunning_ = false;
      }
    }
    ++pass;
    SleepWhileRunning(kPause);
  }
}

void QorRecorder::DoRecord() {
  log_.Verbose() << "Recorder do record.";
  std::vector<OutgoingMessage> batch;
  if (!files_.CheckDisk()) {
    log_.Verbose() << "Free disk is not enough.";
    isWhole_ = false;
  } else {
    while (DoRecordHandle(batch)) {
    }
  }
  isRunning_ = false;
  subscriptions_.UnSubscribeAll();
}

/// Writes what waits. False when the recording is over.
bool QorRecorder::DoRecordHandle(std::vector<OutgoingMessage>& batch) {
  constexpr std::chrono::milliseconds kPatience{250};
  const bool isLast = !RecordReady();
  if (isLast) {
    subscriptions_.UnSubscribeAll();  // behind this nothing comes any more
  }
  queue_.Take(batch, isLast ? std::chrono::milliseconds(0) : kPatience);
  if (hasDropped_.exchange(false) && !wasDropReported_) {
    wasDropReported_ = true;
    Report(RecorderType::kFirstDrop, "");
  }
  if (batch.empty()) {
    return !isLast && files_.CheckDuration(GetCurrentMonotonicTime());
  }
  for (std::size_t i = 0; i < batch.size(); ++i) {
    if (!Write(batch[i])) {
      queue_.GiveUp(std::span(batch).subspan(i), FateOfRest());
      batch.clear();
      return false;
    }
  }
  UnSubscribeCheck();
  return true;
}

bool QorRecorder::Write(OutgoingMessage& message) {
  auto& event = static_cast<RecordedEvent&>(*message.source);
  const bool goesOn = files_.CheckSize() && files_.CheckDuration(message.time);
  CountLostChunk();
  if (!goesOn) {
    return false;
  }
  if (!files_.WriteEventMsg(event.Description(), ChangeMonotonicToRealTime(message.time), message.payload.Bytes())) {
    CountLostChunk();
    isWhole_ = false;
    return false;
  }
  event.CountWritten();
  written_.fetch_add(1, std::memory_order_relaxed);
  if (files_.GetOpenMessages() <= 1) {
    inChunk_.clear();  // they are in the file
  }
  if (files_.GetOpenMessages() != 0) {
    inChunk_.push_back(&event);
  }
  return true;
}

/// What was counted as written, and is in no bag.
void QorRecorder::CountLostChunk() {
  if (!files_.TakeChunkLoss()) {
    return;
  }
  for (RecordedEvent* const event : inChunk_) {
    event->TakeBackWritten();
    queue_.CountUnwritten(*event);
  }
  written_.fetch_sub(inChunk_.size(), std::memory_order_relaxed);
  inChunk_.clear();
}

void QorRecorder::UnSubscribeCheck() {
  std::set<std::string> names;
  {
    const std::lock_guard lock(unsubscribeMutex_);
    names.swap(limitReached_);
  }
  for (const std::string& name : names) {
    subscriptions_.UnSubscribe(name);
  }
}

void QorRecorder::DeleteBuffQueue() {
  log_.Verbose() << "Recorder queue_ deleting.";
  queue_.Clear(FateOfRest());
}

/// Of what is not written when the recording is over: a limit was reached, or something failed.
std::uint64_t SampleCounts::*QorRecorder::FateOfRest() const {
  return isWhole_ && files_.IsWhole() ? &SampleCounts::skipped : &SampleCounts::dropped;
}

void QorRecorder::BagHandle() {
  constexpr std::chrono::milliseconds kPeriod{200};
  while (RecordReady()) {
    files_.BagHandle();
    SleepWhileRunning(kPeriod);
  }
}

RecorderStatus QorRecorder::GetStatus() const {
  RecorderStatus status;
  const std::uint64_t end = endTime_ != 0 ? endTime_.load() : GetCurrentMonotonicTime();
  status.elapsedMs = startMonotonicTime_ != 0 ? end - startMonotonicTime_ : 0;
  status.fileName = files_.GetBagName();
  status.splitIndex = files_.GetSplitIndex();
  status.files = files_.GetFileCount();
  status.fileSize = files_.GetFileSize();
  status.allSize = files_.GetAllSize();
  status.waiting = queue_.GetWaiting();
  status.counts = queue_.GetCounts();
  status.written = written_.load();
  std::map<std::tuple<std::uint16_t, std::uint16_t, std::string>, std::uint64_t> lostOfServices;
  subscriptions_.VisitEvents([&](const RecordedEvent& event, std::uint64_t lost) {
    const bool isNext = !status.events.empty() && status.events.back().name == event.eventName;
    const std::uint32_t number = isNext ? status.events.back().number + 1 : 0;
    status.events.push_back({event.eventName, number, event.Driver(), queue_.GetCounts(event), event.Written(), lost});
    if (event.Driver() == maintaind::DriverType::kSomeip) {
      const auto& someip = event.Record().bindings.begin()->second.someip;
      auto& ofService = lostOfServices[{someip.serviceId, someip.instanceId, someip.networkIp}];
      ofService = std::max(ofService, lost);
    } else {
      status.lost += lost;
    }
  });
  for (const auto& [service, lost] : lostOfServices) {
    status.lost += lost;
  }
  return status;
}

}  // namespace qor::qorbag
