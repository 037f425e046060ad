// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_QOR_RECORDER_H
#define QOR_QORBAG_QOR_RECORDER_H

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "platform/log/qor_log.h"
#include "src/qorbag/outgoing_queue.h"
#include "src/qorbag/recorder_options.h"
#include "src/qorbag/recorder_subscriptions.h"
#include "src/qorbag/recording_files.h"

namespace qor::qorbag {

/// Where a recording stands.
struct RecorderStatus {
  /// One binding of one event.
  struct Event {
    std::string name;
    std::uint32_t number = 0;  ///< of the events of that name, in the order in which they were subscribed
    maintaind::DriverType driver = maintaind::DriverType::kDds;
    SampleCounts counts;
    std::uint64_t written = 0;
    /// Before they were received, as far as the transport knows; for SOME/IP of all events of the service together.
    std::uint64_t lost = 0;
  };

  std::uint64_t elapsedMs = 0;
  std::string fileName;  ///< of the bag that is written
  std::uint32_t splitIndex = 0;
  std::uint32_t files = 0;     ///< that were begun
  std::uint64_t fileSize = 0;  ///< bytes
  std::uint64_t allSize = 0;   ///< of all files, the removed ones included
  OutgoingQueue::Waiting waiting;
  SampleCounts counts;  ///< of all events
  std::uint64_t written = 0;
  std::uint64_t lost = 0;     ///< of all events, those of a service once
  std::vector<Event> events;  ///< by name
};

/// Records events of the running system into bag files. One recording for each object: Run does it all and returns when
/// it is over; everything else may be called from any thread meanwhile.
class QorRecorder {
 public:
  /// Called by the recorder's own threads, and by Run; never by two at once, and never by a receive thread. It must not
  /// call the recorder, but for Stop.
  using Callback = std::function<void(RecorderType, const std::string&)>;

  explicit QorRecorder(const RecorderOptions& options);
  QorRecorder(const QorRecorder&) = delete;
  QorRecorder& operator=(const QorRecorder&) = delete;

  /// Before Run.
  void RecorderRegisterCallback(Callback callback) { callback_ = std::move(callback); }

  /// The whole recording. Ends by Stop, when every event has its messages, when a file that is not to be split is full,
  /// when the disk is, or when something fails. True when all that was received and not dropped is in bags that were
  /// closed.
  bool Run();
  void Start();
  /// Also from a signal handler.
  void Stop() {
    isStopped_.store(true);
    isRunning_.store(false);
  }
  bool RecordReady() const { return isRunning_.load(); }

  RecorderStatus GetStatus() const;

  static std::uint64_t GetCurrentRealTime();
  static std::uint64_t GetCurrentMonotonicTime();
  /// Milliseconds of the one clock as those of the other, as both were when the recording began.
  std::uint64_t ChangeMonotonicToRealTime(std::uint64_t time) const {
    return startRealTime_ + time - startMonotonicTime_;
  }

 private:
  void Report(RecorderType type, const std::string& text);
  void InitStartTime();
  void RunThreads();
  void SleepWhileRunning(std::chrono::milliseconds time) const;

  // The receive threads.
  void OnReceived(RecordedEvent& event, const com::RecvBuffer& sample);
  void SubscribeCallback(RecordedEvent& event, const com::RecvBuffer& sample);
  void SubscribeMbufCallback(RecordedEvent& event, const com::RecvBuffer& sample);
  bool CheckSkipFrame(RecordedEvent& event) const;
  bool PrepareOutOutgoingMessage(RecordedEvent& event, const com::RecvBuffer& sample, OutgoingMessage& message);
  void DoQueue(RecordedEvent& event, OutgoingMessage&& message);
  void CountNoMemory(RecordedEvent& event);
  void CheckLimit(const std::string& name, EventQuota::Take take);

  // The thread "qorbag_dosub".
  void Subscribe();

  // The thread "qorbag_dowrite".
  void DoRecord();
  bool DoRecordHandle(std::vector<OutgoingMessage>& batch);
  bool Write(OutgoingMessage& message);
  void CountLostChunk();
  void UnSubscribeCheck();
  void DeleteBuffQueue();
  std::uint64_t SampleCounts::*FateOfRest() const;

  // The thread "qorbag_dobaghandle".
  void BagHandle();

  const QorLog log_{"QorRecorder"};
  const RecorderOptions options_;
  Callback callback_;
  std::mutex callbackMutex_;
  const RecordingFiles::Report report_;
  std::uint64_t startRealTime_ = 0;                   ///< set before the threads start
  std::atomic<std::uint64_t> startMonotonicTime_{0};  ///< 0: not yet
  bool isWhole_ = true;                               ///< the writer's, while there is one
  bool wasDropReported_ = false;                      ///< the writer's
  std::vector<RecordedEvent*> inChunk_;               ///< the writer's: of each message in the open chunk

  std::mutex startMutex_;
  std::atomic<bool> isRunning_{false};
  std::atomic<bool> isStopped_{false};  ///< somebody called Stop, perhaps before Run
  std::atomic<bool> hasDropped_{false};
  std::atomic<std::uint64_t> endTime_{0};  ///< when it was over; 0: it is not
  std::atomic<std::uint64_t> written_{0};

  std::mutex unsubscribeMutex_;
  std::set<std::string> limitReached_;  // guarded by unsubscribeMutex_

  RecordingFiles files_;
  OutgoingQueue queue_;
  RecorderSubscriptions subscriptions_;  // its receive threads use everything above
};

}  // namespace qor::qorbag

#endif
