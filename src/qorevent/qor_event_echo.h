// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QOREVENT_QOR_EVENT_ECHO_H
#define QOR_QOREVENT_QOR_EVENT_ECHO_H

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/com/node_handle.h"
#include "platform/log/qor_log.h"
#include "src/common/query.h"
#include "src/common/records/event_info.h"
#include "src/qorevent/binding_gate.h"
#include "src/qorevent/echo_options.h"
#include "src/qorevent/event_records.h"
#include "src/qorevent/sample_renderer.h"

namespace qor::qorevent {

/// Receives events and hands every sample to a callback as text. Owned by a front end, driven by one thread: Echo for
/// each event, Stop when it is enough; the callbacks run on the receive threads, for one event one at a time. Stop, and
/// destruction, wait for a callback that is running, so neither may be done from one.
class QorEventEcho {
 public:
  using TextCallback = std::function<void(const std::string&)>;
  /// May take the texts out of the record; what it leaves serves the next sample.
  using SampleCallback = std::function<void(SampleInfo&&)>;

  /// How starting an echo ended.
  enum class EchoResult : std::uint8_t {
    kEchoing,
    kBadParam,        ///< the name or an option cannot be used
    kAlreadyEchoing,  ///< and goes on
    kNoDaemon,        ///< none is online, or one that may know the event did not answer
    kUnknownEvent,
    kAmbiguous,     ///< the name and the options lead to several events
    kUnknownField,  ///< the event's type has no such part
    kFailed,        ///< it cannot be received
  };

  QorEventEcho() = default;
  ~QorEventEcho();
  QorEventEcho(const QorEventEcho&) = delete;
  QorEventEcho& operator=(const QorEventEcho&) = delete;

  /// Finds the daemons and makes the node; Echo does it otherwise. False, with a line in the log, when none is online.
  [[nodiscard]] bool Initialize();

  /// How the samples of the events that are echoed from now on are printed.
  void SetRendering(EchoRendering rendering) { rendering_ = std::move(rendering); }

  /// Asks the daemons for all events. False when one did not answer, or none is online.
  bool QueryEvents();
  /// Whether the answers to the last question have an event that the name and the options lead to.
  bool IsKnown(const std::string& eventName, const EchoOptions& options) const {
    return !FindRecords(eventName, options).empty();
  }

  /// Starts echoing an event; several may be. The name may end in an instance or a uuid in square brackets. Asks the
  /// daemons, unless they answered within the last second.
  [[nodiscard]] EchoResult Echo(const std::string& eventName, const EchoOptions& options, TextCallback callback);
  [[nodiscard]] EchoResult Echo(const std::string& eventName, const EchoOptions& options, SampleCallback callback);

  /// Ends an echo. A line in the log when the event is not echoing.
  void Stop(const std::string& eventName);

  /// Why the samples of an echoing event are not printed: it has no type definition that can be used. Empty when they
  /// are.
  std::string WhyNotDescribed(const std::string& eventName) const;
  /// What was wrong about the part that the last Echo with kUnknownField was to print.
  const std::string& FieldFault() const { return fieldFault_; }
  /// Samples of an echoing event that its transports know were lost.
  std::uint64_t GetLostCount(const std::string& eventName) const;
  /// What became of the last question to the daemons, of QueryEvents or Echo.
  const common::Answers& GetAnswers() const { return answers_; }

  /// Every type definition of every daemon; false when none answered.
  static bool QueryTypeDefinitionFromMaintaind(datatype::DefinitionTexts& definitions);

 private:
  using Clock = std::chrono::steady_clock;

  /// One echoing event. Its address is stable, so that receive handlers keep it.
  struct EchoRecord {
    std::string eventName;  ///< as it was given
    std::string fullName;   ///< with its instance
    EchoOptions options;
    EventRecords records;
    SampleCallback callback;
    std::set<maintaind::DriverType> protectedBindings;  ///< by E2E
    std::atomic<bool> isRunning{true};
    std::mutex mutex;  ///< guards what follows: an event with two bindings has two receive threads
    std::unique_ptr<SampleRenderer> renderer;
    BindingGate gate;
    bool isFirst = true;
    SampleInfo sample;
    // Uses everything above, so it goes first.
    std::vector<com::Subscriber> subscribers;
  };

  bool InitMaintaindConnection();
  bool InitializeQorComInterface();
  EchoResult InitAndCheckValid(const std::string& eventName, const EchoOptions& options);
  EventRecords FindRecords(const std::string& eventName, const EchoOptions& options) const;
  EchoResult QueryEventInfoFromMaintaind(EchoRecord& record);
  EchoResult CheckIsNew(EchoRecord& record);
  EchoResult AlreadyEchoing(const std::string& eventName) const;
  EchoResult RegisterEvent(EchoRecord& record);
  bool CheckIsNoSupportRawData(const EchoRecord& record) const;
  EchoResult SubscribeEvent(EchoRecord& record);
  com::Subscriber SubscribeBinding(EchoRecord& record, const maintaind::EventRegisterInfo& event);
  com::Subscriber DoSubscribeRecvMemory(EchoRecord& record, const maintaind::EventRegisterInfo& event);
  com::Subscriber DoSubscribe(EchoRecord& record, const maintaind::EventRegisterInfo& event, std::uint32_t queueSize);
  void OnEventReceived(EchoRecord& record, maintaind::DriverType driver, const com::RecvBuffer& sample);
  void SetE2ECheckResult(EchoRecord& record, maintaind::DriverType driver, const com::RecvBuffer& sample,
                         SampleInfo& info) const;
  static std::string HandleEventName(const maintaind::EventInfoWithPubSub& record);

  QorLog log_{"QorEventEcho"};
  EchoRendering rendering_;
  std::string fieldFault_;
  common::Answers answers_;
  EventRecords merged_;                       ///< what they said
  std::optional<Clock::time_point> askedAt_;  ///< when
  bool isConnected_ = false;
  std::unique_ptr<com::NodeHandle> node_;
  mutable std::mutex mutex_;                                   ///< guards the table
  std::map<std::string, std::unique_ptr<EchoRecord>> echoes_;  ///< by the name as it was given
};

}  // namespace qor::qorevent

#endif
