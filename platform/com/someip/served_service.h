// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COM_SOMEIP_SERVED_SERVICE_H
#define QOR_COM_SOMEIP_SERVED_SERVICE_H

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <span>
#include <string>
#include <tuple>

#include "platform/ara/core/result.h"
#include "platform/someip/service_server.h"
#include "src/common/records/someip_link.h"

namespace qor::com {

/// A SOME/IP service instance that this process provides: its ports on this host, shared by all its events, and its
/// offer at the daemon. Exists as long as somebody publishes one of its events. Any thread.
class ServedService : public std::enable_shared_from_this<ServedService> {
 public:
  /// Opens the ports: those of the record, and any in place of one that cannot be had. Errors: TransportError::kLibrary
  /// with the reason.
  static ara::core::Result<std::shared_ptr<ServedService>> Open(const maintaind::SomeipEventInfo& event);
  ~ServedService();
  ServedService(const ServedService&) = delete;
  ServedService& operator=(const ServedService&) = delete;

  /// Offers the event. Several publishers of one event share it.
  ara::core::Result<void> AddEvent(const maintaind::OfferedEvent& event);
  void RemoveEvent(std::uint16_t eventId);
  ara::core::Result<void> Notify(std::uint16_t eventId, std::span<const std::uint8_t> payload) {
    return server_->Notify(eventId, payload);
  }
  std::size_t SubscriberCount(const maintaind::OfferedEvent& event) const;
  std::uint16_t UdpPort() const { return server_->UdpEndpoint() ? server_->UdpEndpoint()->port : std::uint16_t{0}; }
  std::uint16_t TcpPort() const { return offer_.tcpPort; }

  // --- From the daemon ---

  void OnSubscriberChange(const maintaind::SubscriberChange& change);
  /// A new connection to a daemon: subscribers that it does not name within a while are gone.
  void OnDaemonConnected();

 private:
  struct Event {
    maintaind::OfferedEvent description;
    std::size_t users = 0;
  };
  using SubscriberKey = std::tuple<std::uint16_t, someip::Endpoint, bool>;

  ServedService(const maintaind::SomeipEventInfo& event, std::unique_ptr<someip::ServiceServer> server);
  void SendOfferLocked();
  void ForgetUnconfirmed();

  const std::unique_ptr<someip::ServiceServer> server_;
  const std::string key_;  ///< of the offer
  std::mutex mutex_;
  maintaind::ServiceOffer offer_;          // guarded by mutex_, but for the TCP port, which never changes
  std::map<std::uint16_t, Event> events_;  // guarded by mutex_
  std::set<SubscriberKey> subscribers_;    // guarded by mutex_
  std::set<SubscriberKey> unconfirmed_;    // guarded by mutex_; of subscribers_, since the daemon is another one
};

}  // namespace qor::com

#endif
