// SPDX-License-Identifier: Apache-2.0
#include "platform/com/someip/served_service.h"

#include <asio/steady_timer.hpp>
#include <chrono>
#include <utility>

#include "platform/com/daemon_link.h"
#include "platform/com/someip/service_records.h"
#include "platform/com/someip/someip_loop.h"
#include "platform/com/transport.h"
#include "platform/log/qor_log.h"
#include "platform/maintaind/service/node_service.h"
#include "src/common/records/codec.h"

namespace qor::com {
namespace {

namespace operation = maintaind::node_operation;
using ara::core::Result;

constexpr QorLog kLog("SOME/IP");
/// How long subscribers have to come to a new daemon too. They try again three times a second.
constexpr std::chrono::seconds kConfirmation{3};

ara::core::ErrorCode LibraryError(const std::string& message) {
  return {static_cast<std::int32_t>(TransportError::kLibrary), message};
}

Result<std::unique_ptr<someip::ServiceServer>> OpenServer(const maintaind::SomeipEventInfo& event) {
  someip::ServiceServerOptions options;
  options.serviceId = event.serviceId;
  options.instanceId = event.instanceId;
  options.majorVersion = static_cast<std::uint8_t>(event.majorVersion);
  options.udpPort = event.udpPort;
  if (event.tcpPort != 0 || event.isReliable) {
    options.tcpPort = event.tcpPort;
  }
  auto server = someip::ServiceServer::OpenNear(SomeipLoop(), options);
  if (const std::string replaced = server ? ReplacedPorts(options, *server.Value()) : ""; !replaced.empty()) {
    kLog.Info() << Text(ServiceOf(event)) << ": " << replaced << ".";
  }
  return server;
}

}  // namespace

Result<std::shared_ptr<ServedService>> ServedService::Open(const maintaind::SomeipEventInfo& event) {
  auto server = OpenServer(event);
  if (!server) {
    return LibraryError(server.Error().Message());
  }
  return std::shared_ptr<ServedService>(new ServedService(event, std::move(server).Value()));
}

ServedService::ServedService(const maintaind::SomeipEventInfo& event, std::unique_ptr<someip::ServiceServer> server)
    : server_(std::move(server)), key_("offer " + Text(ServiceOf(event))) {
  offer_.service = ServiceOf(event);
  offer_.minorVersion = event.minorVersion;
  offer_.address = someip::kLoopbackAddress.Text();
  offer_.tcpPort = server_->TcpEndpoint() ? server_->TcpEndpoint()->port : 0;
  offer_.publicUdpPort = event.udpPort;
  offer_.publicTcpPort = event.tcpPort;
  offer_.isLocalOnly = event.networkIp.starts_with("127.");
}

ServedService::~ServedService() { DaemonLink::Instance().Remove(key_); }

Result<void> ServedService::AddEvent(const maintaind::OfferedEvent& event) {
  const std::lock_guard lock(mutex_);
  Event& known = events_[event.eventId];
  if (known.users == 0) {
    if (const auto added = server_->AddEvent(SettingsOf(event)); !added) {
      events_.erase(event.eventId);
      return LibraryError(added.Error().Message());
    }
    known.description = event;
    SendOfferLocked();
  }
  ++known.users;
  return {};
}

void ServedService::RemoveEvent(std::uint16_t eventId) {
  const std::lock_guard lock(mutex_);
  const auto known = events_.find(eventId);
  if (known == events_.end() || --known->second.users > 0) {
    return;
  }
  server_->RemoveEvent(eventId);
  events_.erase(known);
  if (!events_.empty()) {
    SendOfferLocked();
  }
}

void ServedService::SendOfferLocked() {
  offer_.events.clear();
  // The UDP port is always there, but a service by TCP alone does not offer it.
  offer_.udpPort = offer_.publicUdpPort != 0 ? UdpPort() : std::uint16_t{0};
  for (const auto& [id, event] : events_) {
    offer_.events.push_back(event.description);
    if (!event.description.isReliable) {
      offer_.udpPort = UdpPort();
    }
  }
  DaemonLink::Instance().Put({.key = key_,
                              .description = Text(offer_.service),
                              .registerMethod = operation::OfferService::kMethodId,
                              .registerPayload = maintaind::Encode(offer_),
                              .unregisterMethod = operation::StopOfferService::kMethodId,
                              .unregisterPayload = maintaind::Encode(offer_.service)});
}

std::size_t ServedService::SubscriberCount(const maintaind::OfferedEvent& event) const {
  std::size_t count = 0;
  for (const std::uint16_t eventgroup : event.eventGroupIds) {
    count += server_->SubscriberCount(eventgroup);
  }
  return count;
}

void ServedService::OnSubscriberChange(const maintaind::SubscriberChange& change) {
  const auto& subscription = change.subscription;
  const auto address = someip::Ipv4Address::FromText(subscription.address);
  if (!address || subscription.port == 0) {
    return;
  }
  const someip::Endpoint endpoint{*address, subscription.port};
  const SubscriberKey key{subscription.eventGroupId, endpoint, subscription.isReliable};
  const std::lock_guard lock(mutex_);
  unconfirmed_.erase(key);
  if (!change.isSubscribed) {
    subscribers_.erase(key);
    server_->RemoveSubscriber(subscription.eventGroupId, endpoint, subscription.isReliable);
    return;
  }
  subscribers_.insert(key);
  if (const auto added = server_->AddSubscriber(subscription.eventGroupId, endpoint, subscription.isReliable); !added) {
    kLog.Warn() << "A subscriber of " << Text(offer_.service) << " gets nothing: " << added.Error().Message();
  }
}

void ServedService::OnDaemonConnected() {
  {
    const std::lock_guard lock(mutex_);
    unconfirmed_ = subscribers_;
  }
  const auto timer = std::make_shared<asio::steady_timer>(SomeipLoop(), kConfirmation);
  timer->async_wait([weak = weak_from_this(), timer](const asio::error_code& /*never cancelled*/) {
    if (const auto self = weak.lock()) {
      self->ForgetUnconfirmed();
    }
  });
}

void ServedService::ForgetUnconfirmed() {
  const std::lock_guard lock(mutex_);
  for (const SubscriberKey& key : std::exchange(unconfirmed_, {})) {
    const auto& [eventgroup, endpoint, isReliable] = key;
    subscribers_.erase(key);
    server_->RemoveSubscriber(eventgroup, endpoint, isReliable);
  }
}

}  // namespace qor::com
