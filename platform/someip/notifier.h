// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_NOTIFIER_H
#define QOR_SOMEIP_NOTIFIER_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <span>
#include <vector>

#include "platform/ara/core/result.h"
#include "platform/someip/endpoint.h"
#include "platform/someip/message.h"
#include "platform/someip/subscriber_book.h"
#include "platform/someip/tcp_connection.h"
#include "platform/someip/tp.h"
#include "platform/someip/udp_socket.h"

namespace qor::someip {

struct EventSettings {
  std::uint16_t eventId = 0;
  std::vector<std::uint16_t> eventgroups{};
  bool isReliable = false;         ///< by TCP to reliable subscribers, else by UDP to unreliable ones
  bool isField = false;            ///< a field's notifier: the last payload goes to each new subscriber
  std::optional<TpSettings> tp{};  ///< by UDP, payloads above kMaxUdpPayload need this
};

struct NotifierSettings {
  std::uint16_t serviceId = 0;
  std::uint8_t majorVersion = 1;
  std::size_t maxMessageSize = 0;
  std::shared_ptr<UdpSocket> udp;  ///< null: there is no UDP; shared with the server that receives from it
  bool hasTcp = false;
};

/// The events of one server, their subscribers, and the TCP connections that reliable subscribers made. Any thread. The
/// methods are those of ServiceServer, which says what they do, unless they say it here.
///
/// Order of locks: an event's sending, then mutex_. Sending keeps the order of one event's messages on the wire and is
/// held meanwhile; mutex_ never is.
class Notifier {
 public:
  explicit Notifier(NotifierSettings settings) : settings_(std::move(settings)) {}

  ara::core::Result<void> AddEvent(const EventSettings& settings);
  void RemoveEvent(std::uint16_t eventId);
  ara::core::Result<void> Notify(std::uint16_t eventId, std::span<const std::uint8_t> payload);

  /// Sends nothing. True when fields are to be sent: by SendFields.
  ara::core::Result<bool> AddSubscriber(std::uint16_t eventgroupId, const Endpoint& subscriber, bool isReliable);
  /// Sends the last payloads of fields to those who have subscribed since the last one was sent. Keeps the caller for
  /// messages that are being sent, and for the pauses between the bursts of segmented ones.
  void SendFields();
  bool RemoveSubscriber(std::uint16_t eventgroupId, const Endpoint& subscriber, bool isReliable);
  void RemoveAllSubscribers(const Endpoint& subscriber);
  std::size_t SubscriberCount(std::uint16_t eventgroupId) const;

  /// Its peer gets the fields that it has subscribed already. False, and nothing done, when there are `maxConnections`.
  bool AddConnection(const std::shared_ptr<TcpConnection>& connection, std::size_t maxConnections);
  bool HasConnection(const Endpoint& peer) const;
  /// What its peer has subscribed goes with it. False, and nothing done, when the peer is connected anew already.
  bool RemoveConnection(const TcpConnection& connection);
  std::vector<std::shared_ptr<TcpConnection>> Connections() const;

 private:
  using Connection = std::shared_ptr<TcpConnection>;  // shared with the loop and with messages that are being sent

  struct Destinations {
    std::vector<Endpoint> udp;
    std::vector<Connection> tcp;
  };
  struct Event {
    EventSettings settings;
    std::shared_ptr<const Destinations> destinations;  // guarded by mutex_; shared with messages that are being sent
    std::set<Endpoint> newcomers;                      // guarded by mutex_; who has not got the last payload; of fields

    std::mutex sending;
    bool hasLast = false;            // guarded by sending
    std::vector<std::uint8_t> last;  // guarded by sending; fields only
  };
  using EventPtr = std::shared_ptr<Event>;  // shared with messages that are being sent

  ara::core::Result<void> Check(const EventSettings& settings) const;
  std::shared_ptr<const Destinations> FindDestinationsLocked(const EventSettings& settings) const;
  void UpdateLocked();
  bool AddNewcomerLocked(std::uint16_t eventgroupId, const Endpoint& subscriber, bool isReliable);
  std::vector<EventPtr> FieldsWithNewcomers() const;
  Destinations TakeNewcomers(Event& field);
  bool Send(const EventSettings& event, std::span<const std::uint8_t> payload, const Destinations& to);
  std::uint16_t NextSession();

  const NotifierSettings settings_;
  std::atomic<std::uint16_t> session_{0};

  mutable std::mutex mutex_;
  std::map<std::uint16_t, EventPtr> events_;    // guarded by mutex_
  SubscriberBook book_;                         // guarded by mutex_
  std::map<Endpoint, Connection> connections_;  // guarded by mutex_; by remote endpoint
};

}  // namespace qor::someip

#endif
