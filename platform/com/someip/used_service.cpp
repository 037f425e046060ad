// SPDX-License-Identifier: Apache-2.0
#include "platform/com/someip/used_service.h"

#include <algorithm>
#include <chrono>
#include <tuple>

#include "platform/com/daemon_link.h"
#include "platform/com/someip/service_records.h"
#include "platform/com/someip/someip_loop.h"
#include "platform/log/qor_log.h"
#include "platform/maintaind/service/node_service.h"
#include "src/common/records/codec.h"

namespace qor::com {
namespace {

namespace operation = maintaind::node_operation;

constexpr QorLog kLog("SOME/IP");
constexpr std::chrono::milliseconds kConnectRetry{500};
constexpr std::uint32_t kLogIntervalMs = 5000;

someip::ServiceClientOptions OptionsFor(const maintaind::ServiceIndex& service) {
  someip::ServiceClientOptions options;
  options.serviceId = service.serviceId;
  options.instanceId = service.instanceId;
  options.majorVersion = service.majorVersion;
  options.clientId = DaemonLink::Instance().SomeipClientId();
  return options;
}

std::optional<someip::Endpoint> EndpointOf(const std::string& address, std::uint16_t port) {
  const auto parsed = someip::Ipv4Address::FromText(address);
  return parsed && port != 0 ? std::optional(someip::Endpoint{*parsed, port}) : std::nullopt;
}

std::string FindKey(const maintaind::ServiceIndex& service) { return "find " + Text(service); }

}  // namespace

class UsedService::FanOut {
 public:
  void Add(std::shared_ptr<EventSink> sink) {
    const std::lock_guard lock(mutex_);
    auto changed = std::make_shared<Sinks>(*sinks_);
    changed->push_back(std::move(sink));
    sinks_ = std::move(changed);
  }

  /// True when that was the last one.
  bool Remove(const std::shared_ptr<EventSink>& sink) {
    const std::lock_guard lock(mutex_);
    auto changed = std::make_shared<Sinks>(*sinks_);
    std::erase(*changed, sink);
    sinks_ = std::move(changed);
    return sinks_->empty();
  }

  void Deliver(std::span<const std::uint8_t> payload) {
    for (const auto& sink : *Current()) {
      sink->Deliver(payload);
    }
  }

 private:
  std::shared_ptr<const Sinks> Current() {
    const std::lock_guard lock(mutex_);
    return sinks_;
  }

  std::mutex mutex_;
  std::shared_ptr<const Sinks> sinks_ = std::make_shared<const Sinks>();  // guarded by mutex_
};

UsedService::UsedService(const maintaind::ServiceIndex& service)
    : service_(service), client_(SomeipLoop(), OptionsFor(service)), retry_(SomeipLoop()) {}

UsedService::~UsedService() {
  DaemonLink& link = DaemonLink::Instance();
  for (const auto& [group, key] : subscriptionKeys_) {
    link.Remove(key);
  }
  link.Remove(FindKey(service_));
}

void UsedService::Start() {
  DaemonLink::Instance().Put({.key = FindKey(service_),
                              .description = "the search for " + Text(service_),
                              .registerMethod = operation::FindService::kMethodId,
                              .registerPayload = maintaind::Encode(service_),
                              .unregisterMethod = operation::StopFindService::kMethodId,
                              .unregisterPayload = maintaind::Encode(service_)});
}

void UsedService::AddReader(const maintaind::OfferedEvent& event, std::shared_ptr<EventSink> sink) {
  const std::lock_guard lock(mutex_);
  Event& known = events_[event.eventId];
  if (known.readers == nullptr) {
    known.description = event;
    known.readers = std::make_shared<FanOut>();
    client_.SetEventHandler(
        event.eventId, [readers = known.readers](const someip::MessageHeader& /*header*/,
                                                 std::span<const std::uint8_t> payload) { readers->Deliver(payload); });
  }
  known.readers->Add(std::move(sink));
  ConnectLocked();
  UpdateSubscriptionsLocked();
}

void UsedService::RemoveReader(std::uint16_t eventId, const std::shared_ptr<EventSink>& sink) {
  const std::lock_guard lock(mutex_);
  const auto known = events_.find(eventId);
  if (known == events_.end() || !known->second.readers->Remove(sink)) {
    return;
  }
  events_.erase(known);  // what still comes finds no reader
  UpdateSubscriptionsLocked();
}

bool UsedService::IsAvailable() const {
  const std::lock_guard lock(mutex_);
  return state_.isAvailable;
}

void UsedService::OnServiceState(const maintaind::ServiceState& state) {
  const std::lock_guard lock(mutex_);
  const auto before = std::exchange(state_, state);
  const auto place = [](const maintaind::ServiceState& its) {
    return std::tie(its.isAvailable, its.address, its.udpPort, its.tcpPort);
  };
  if (state.isAvailable && place(state) == place(before)) {
    lostBefore_ += state.lost - std::min(state.lost, before.lost);
    return;
  }
  CloseTcpLocked();
  if (!state.isAvailable) {
    UpdateSubscriptionsLocked();
    return;
  }
  client_.SetServer({EndpointOf(state.address, state.udpPort), EndpointOf(state.address, state.tcpPort)});
  ConnectLocked();
  UpdateSubscriptionsLocked();
}

void UsedService::CloseTcpLocked() {
  ++attempt_;
  isConnecting_ = false;
  client_.CloseTcp();
  tcp_.reset();
}

bool UsedService::NeedsTcpLocked() const {
  return std::ranges::any_of(events_, [](const auto& entry) { return entry.second.description.isReliable; });
}

/// Opens what the events need and the provider has.
void UsedService::ConnectLocked() {
  if (!state_.isAvailable) {
    return;
  }
  if (!udp_ && state_.udpPort != 0) {
    const auto opened = client_.OpenUdp();
    if (!opened) {
      kLog.Error("UsedService_OpenUdp", kLogIntervalMs)
          << Text(service_) << " cannot be received by UDP: " << opened.Error().Message();
    } else {
      udp_ = opened.Value();
    }
  }
  if (!tcp_ && !isConnecting_ && state_.tcpPort != 0 && NeedsTcpLocked()) {
    isConnecting_ = true;
    const std::uint64_t attempt = ++attempt_;
    client_.ConnectTcp(
        [weak = weak_from_this(), attempt](const ara::core::Result<someip::Endpoint>& local) {
          if (const auto self = weak.lock()) {
            self->OnConnected(attempt, local);
          }
        },
        [weak = weak_from_this(), attempt](const std::string& reason) {
          if (const auto self = weak.lock()) {
            self->OnClosed(attempt, reason);
          }
        });
  }
}

void UsedService::OnConnected(std::uint64_t attempt, const ara::core::Result<someip::Endpoint>& local) {
  if (!local) {
    OnClosed(attempt, local.Error().Message());
    return;
  }
  const std::lock_guard lock(mutex_);
  if (attempt == attempt_) {
    isConnecting_ = false;
    tcp_ = local.Value();
    UpdateSubscriptionsLocked();
  }
}

void UsedService::OnClosed(std::uint64_t attempt, const std::string& reason) {
  const std::lock_guard lock(mutex_);
  if (attempt != attempt_) {
    return;
  }
  kLog.Warn("UsedService_Tcp_" + Text(service_), kLogIntervalMs)
      << "No TCP connection to " << Text(service_) << ": " << reason;
  tcp_.reset();
  UpdateSubscriptionsLocked();
  isConnecting_ = true;  // until the next attempt
  retry_.expires_after(kConnectRetry);
  retry_.async_wait([weak = weak_from_this(), attempt](const asio::error_code& /*cancelled*/) {
    if (const auto self = weak.lock()) {
      self->RetryConnect(attempt);
    }
  });
}

void UsedService::RetryConnect(std::uint64_t attempt) {
  const std::lock_guard lock(mutex_);
  if (attempt == attempt_) {
    isConnecting_ = false;
    ConnectLocked();
  }
}

/// Tells the daemon which eventgroups are subscribed with which endpoint, as far as that has changed. An event in
/// several eventgroups is taken from the first.
void UsedService::UpdateSubscriptionsLocked() {
  std::map<Group, maintaind::EventgroupSubscription> wanted;
  for (const auto& [id, event] : events_) {
    const auto& description = event.description;
    const auto& local = description.isReliable ? tcp_ : udp_;
    if (!state_.isAvailable || !local || description.eventGroupIds.empty()) {
      continue;
    }
    auto& subscription = wanted[{description.eventGroupIds.front(), description.isReliable}];
    subscription.service = service_;
    subscription.eventGroupId = description.eventGroupIds.front();
    subscription.address = local->address.Text();
    subscription.port = local->port;
    subscription.isReliable = description.isReliable;
    subscription.events.push_back(description);
  }
  DaemonLink& link = DaemonLink::Instance();
  std::erase_if(subscriptionKeys_, [&](const auto& known) {
    if (wanted.contains(known.first)) {
      return false;
    }
    link.Remove(known.second);
    return true;
  });
  for (const auto& [group, subscription] : wanted) {
    const std::string key = "subscribe " + Text(service_) + " " + std::to_string(group.first) +
                            (group.second ? " tcp " : " udp ") + std::to_string(subscription.port);
    if (auto& known = subscriptionKeys_[group]; known != key) {
      if (!known.empty()) {
        link.Remove(known);
      }
      known = key;
    }
    link.Put({.key = key,
              .description = "the subscription of eventgroup " + std::to_string(group.first) + " of " + Text(service_),
              .registerMethod = operation::SubscribeEventgroup::kMethodId,
              .registerPayload = maintaind::Encode(subscription),
              .unregisterMethod = operation::UnsubscribeEventgroup::kMethodId,
              .unregisterPayload = maintaind::Encode(subscription)});
  }
}

}  // namespace qor::com
