// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QOREVENT_EVENT_SUBSCRIBER_H
#define QOR_QOREVENT_EVENT_SUBSCRIBER_H

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/com/helper.h"
#include "platform/com/node_handle.h"
#include "platform/log/qor_log.h"
#include "src/common/records/event_info.h"

namespace qor::qorevent {

/// Subscribes a tool's node to events that the daemons reported, over the transports that they reported. Used by one
/// thread at a time; the node must outlive it.
class EventSubscriber {
 public:
  /// As com::RecvHandler, with the binding that the sample came over.
  using Handler = std::function<void(maintaind::DriverType, const com::RecvBuffer&)>;

  /// `options.nodePath` is the prefix of the entity names that the tool registers; `context` of the lines in the log.
  EventSubscriber(com::NodeHandle& node, Helper::RegisterOptions options, std::string_view context)
      : log_(context), node_(node), options_(std::move(options)) {}

  /// Subscribes to every binding of the records, at most one DDS and one SOME/IP binding in all; `handler` gets the
  /// samples of both, from two threads. Empty, with a line in the log for each cause, when none could be subscribed.
  std::vector<com::Subscriber> DoSubscribe(const std::string& name,
                                           const std::vector<maintaind::EventInfoWithPubSub>& records,
                                           const Handler& handler);

  /// True when the list holds a transport whose samples arrive as plain buffers: ICC, FSHM or PCIE.
  static bool IsUsingRawData(const std::vector<maintaind::TransportQos>& transports);

 private:
  com::Subscriber SubscribeDds(const std::string& name, const maintaind::EventRegisterInfo& event,
                               const Handler& handler);
  com::Subscriber SubscribeSomeip(const std::string& name, const maintaind::EventRegisterInfo& event,
                                  const Handler& handler);
  /// Registers and subscribes in one step: both bindings of an event use one entity name.
  com::Subscriber RegisterAndSubscribe(const std::string& name, const maintaind::EventRegisterInfo& event,
                                       const Handler& handler);
  /// Tells the middleware how the event is reached.
  bool RegistConfig(const maintaind::EventRegisterInfo& event) const;
  void CheckSub(const std::string& name, maintaind::DriverType driver, const com::Subscriber& subscriber) const;
  void LogNormalEvent(const std::string& name) const;

  const QorLog log_;
  com::NodeHandle& node_;
  const Helper::RegisterOptions options_;
};

}  // namespace qor::qorevent

#endif
