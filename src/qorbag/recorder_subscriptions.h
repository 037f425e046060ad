// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_RECORDER_SUBSCRIPTIONS_H
#define QOR_QORBAG_RECORDER_SUBSCRIPTIONS_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/com/node_handle.h"
#include "src/datatype/definition_tables.h"
#include "src/qorbag/event_selection.h"
#include "src/qorbag/recorded_event.h"
#include "src/qorbag/recorder_options.h"
#include "src/qorbag/recording_files.h"
#include "src/qorevent/event_subscriber.h"

namespace qor::qorbag {

/// The events of one recording and their subscriptions. One thread makes passes, another may end subscriptions.
class RecorderSubscriptions {
 public:
  /// Called on the receive threads, for one event by one thread at a time.
  using Receive = std::function<void(RecordedEvent&, const com::RecvBuffer&)>;

  /// The options and the report must outlive it.
  RecorderSubscriptions(const RecorderOptions& options, const RecordingFiles::Report& report, Receive receive);
  ~RecorderSubscriptions() { UnSubscribeAll(); }
  RecorderSubscriptions(const RecorderSubscriptions&) = delete;
  RecorderSubscriptions& operator=(const RecorderSubscriptions&) = delete;

  /// Makes the node and looks for the daemons. False, with a line in the log, when there can be no node.
  [[nodiscard]] bool Init();
  /// One pass: asks the daemons and subscribes what is new of what is wanted, as long as `isWanted`. False when there
  /// is something, and none of it, now or before, could be subscribed.
  [[nodiscard]] bool Subscribe(const std::function<bool()>& isWanted);

  /// Any thread but the receive threads; waits for those.
  void UnSubscribe(const std::string& name);
  void UnSubscribeAll();

  /// Ends all of it: the subscriptions and the node.
  void Shutdown();

  /// Any thread. Whether every event name has its messages; true without any name.
  bool IsEveryQuotaExhausted() const;
  /// Any thread: what is recorded of an event, and how many samples its transport knows were lost.
  using Visit = std::function<void(const RecordedEvent&, std::uint64_t lost)>;
  void VisitEvents(const Visit& visit) const;

 private:
  struct Subscription {
    /// The subscription ends when what is returned goes; the event stays.
    com::Subscriber End();

    std::uint64_t pass;  ///< in which it was made
    std::unique_ptr<RecordedEvent> event;
    com::Subscriber subscriber;  ///< goes first: it uses the event
    std::uint64_t lostBefore = 0;
  };

  /// Of all data types; nothing when a daemon did not answer.
  using Definitions = std::optional<datatype::DefinitionTexts>;

  EventSelection::Records GetEventList();
  void WarnOfUnknown(const EventSelection::Records& merged);
  bool IsSubscribed(const std::string& text) const;
  bool ShouldSubscribe(const maintaind::EventInfoWithPubSub& record);
  bool IsRepeatedEvent(const maintaind::EventInfoWithPubSub& record) const;
  bool SubscribeEvent(const maintaind::EventInfoWithPubSub& record, const Definitions& definitions);
  void ReplaceIfUnpublished(const maintaind::EventInfoWithPubSub& record);
  void EndOutdated(const EventSelection::Records& records);
  static Definitions AskForDefinitions();
  void InsertMsgDefs();
  void InsertMsgDef(RecordedEvent& event, const datatype::DefinitionTexts& definitions);
  std::shared_ptr<EventQuota> QuotaOf(const std::string& name);

  const RecorderOptions& options_;
  const RecordingFiles::Report& report_;
  const Receive receive_;
  const EventSelection selection_;
  std::unique_ptr<com::NodeHandle> node_;
  std::unique_ptr<qorevent::EventSubscriber> subscriber_;
  std::set<std::string> warned_;     ///< unknown names
  std::set<std::string> undefined_;  ///< names whose data type is not known, as the log says
  EventSelection::Records failed_;   ///< what could not be subscribed; it is tried again now and then
  std::set<std::pair<std::string, maintaind::DriverType>> reported_;  ///< of what could not be subscribed
  std::uint64_t passCount_ = 0;                                       ///< with the one that is under way

  mutable std::mutex mutex_;  ///< guards what follows
  std::map<std::string, std::shared_ptr<EventQuota>> quotas_;
  std::multimap<std::string, Subscription> subscriptions_;  ///< by event name
};

}  // namespace qor::qorbag

#endif
