// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QOREVENT_QOR_EVENT_HZ_H
#define QOR_QOREVENT_QOR_EVENT_HZ_H

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/com/node_handle.h"
#include "platform/log/qor_log.h"
#include "src/common/query.h"
#include "src/common/records/event_info.h"
#include "src/qorevent/backlog_gate.h"
#include "src/qorevent/binding_gate.h"
#include "src/qorevent/event_hz_info.h"
#include "src/qorevent/event_rate_counter.h"
#include "src/qorevent/event_subscriber.h"
#include "src/qorevent/subscription_book.h"

namespace qor::qorevent {

/// Measures how often named events arrive, or reports every arrival by name. Owned by a front end: Init in one of the
/// two modes, QorEventHzStart, then QorEventPrintHz as often as wanted while QorEventHzReady, then QorEventHzStop.
/// One thread drives it; QorEventHzReady, QorEventHzStop and ReceivedMessageCallback are for any thread. Destruction
/// ends all subscriptions.
class QorEventHz {
 public:
  static constexpr std::size_t kMaxEvents = 5000;

  /// Rate mode: gets the figures of every event, in the order of the names, on the thread of QorEventPrintHz.
  using ResultCallback = std::function<void(const EventHzList&, QoreventHzType)>;
  /// Message mode: gets the name of the event of each sample, on the receive threads, several at a time. Must not
  /// block. The name lives as long as the QorEventHz.
  using MessageCallback = std::function<void(const std::string&)>;

  QorEventHz() = default;
  ~QorEventHz();
  QorEventHz(const QorEventHz&) = delete;
  QorEventHz& operator=(const QorEventHz&) = delete;

  /// Takes 1 to 5000 names, each pure or with its uuid in square brackets; a repeated name counts once. `windowSize` is
  /// the number of intervals kept for each event. False, with a line in the log, when it cannot start: also when no
  /// daemon is online, and without a message callback.
  [[nodiscard]] bool Init(const std::vector<std::string>& names, std::uint32_t windowSize, const HzOptions& options,
                          ResultCallback resultCallback);
  [[nodiscard]] bool Init(const std::vector<std::string>& names, const HzOptions& options,
                          MessageCallback messageCallback);

  /// Asks the daemons, unless QueryEvent did, and subscribes to every named event. False when no event could be
  /// subscribed.
  [[nodiscard]] bool QorEventHzStart();
  bool QorEventHzReady() const { return isRunning_.load(); }
  void QorEventHzStop() { isRunning_.store(false); }

  /// Looks each event that is not known yet up in the daemons' merged answers. False when no daemon is online, or one
  /// did not answer.
  bool QueryEvent();
  /// Whether a daemon answered the last look.
  bool AnyDaemonAnswered() const { return anyAnswered_; }
  /// The daemons that did not.
  const common::DaemonSet& MissingDaemons() const { return missing_; }
  /// True once the daemons have reported the event.
  bool IsQueried(const std::string& name) const;
  bool IsAllEventsQueried() const;
  /// True when the name and the filter lead to several events, so that none of them can be subscribed.
  bool IsAmbiguous(const std::string& name) const;
  /// Looks again for the events that were unknown, and subscribes to those that are there now and were not given up by
  /// UnSubscribe. Call it now and then.
  void SubscribeLateEvents();

  /// False, with a line in the log, when it is subscribed already, is not known, or cannot be subscribed.
  bool SubscribeEvent(const std::string& name);
  void UnSubscribe(const std::string& name);
  bool IsSubscribed(const std::string& name) const { return subscriptions_.IsSubscribed(name); }
  bool IsSubCreateFailed(const std::string& name) const { return subscriptions_.IsFailed(name); }

  /// One sample of the named event. Subscriptions do not come this way: their handlers are bound to the event.
  void ReceivedMessageCallback(const std::string& name);

  /// The figures of every event, in the order of the names. Starts the next bandwidth period.
  EventHzList QorEventGetHz();
  void QorEventPrintHz();
  /// The figures of the whole measurement, in the order of the names.
  EventHzTotalsList QorEventGetTotals();
  /// Samples of all events since they were subscribed, without those that had been sent before. Rate mode.
  std::uint64_t QorEventSampleCount();

 private:
  enum class Mode : std::uint8_t { kMessage = 1, kRate = 2 };

  /// One named event. The address is stable from Init on, so that receive handlers keep it.
  struct EventSlot {
    std::string name;
    std::string pureName;
    std::string uuid;
    EventRateCounter counter;                             // guarded by mutex_
    BacklogGate backlog;                                  // guarded by mutex_
    BindingGate binding;                                  // guarded by mutex_
    std::vector<maintaind::EventInfoWithPubSub> records;  ///< what the daemons report, without repetitions
  };

  bool InitCommon(const std::vector<std::string>& names, const HzOptions& options);
  bool MakeSlots(const std::vector<std::string>& names);
  void OnReceived(EventSlot& slot, maintaind::DriverType driver, const com::RecvBuffer& sample);
  void PassOn(const EventSlot& slot) const;
  void QuerySlot(EventSlot& slot, const std::vector<maintaind::EventInfoWithPubSub>& merged);
  bool IsRepeatedEvent(const maintaind::EventInfoWithPubSub& record, const EventSlot& slot) const;
  bool ShouldSubscribe(const std::string& name) const;
  bool DealWithSubscribedEvent(const std::string& name, std::vector<com::Subscriber> subscribers);
  EventSlot* FindSlot(const std::string& name) const;

  QorLog log_{"QorEventHz"};
  HzOptions options_;
  Mode mode_ = Mode::kRate;
  ResultCallback resultCallback_;
  MessageCallback messageCallback_;
  std::vector<std::unique_ptr<EventSlot>> slots_;  ///< in the order of the names
  std::map<std::string, EventSlot*, std::less<>> slotsByName_;
  bool hasQueried_ = false;
  bool anyAnswered_ = false;
  common::DaemonSet missing_;
  std::atomic<bool> isRunning_{false};
  std::mutex mutex_;  ///< guards the counters and gates of the slots
  // The subscriptions use everything above, so they go first.
  std::unique_ptr<com::NodeHandle> node_;
  std::unique_ptr<EventSubscriber> subscriber_;
  SubscriptionBook subscriptions_;
};

}  // namespace qor::qorevent

#endif
