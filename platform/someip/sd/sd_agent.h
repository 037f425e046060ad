// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_SD_SD_AGENT_H
#define QOR_SOMEIP_SD_SD_AGENT_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "platform/someip/sd/sd_config.h"
#include "platform/someip/sd/sd_listener.h"
#include "platform/someip/sd/sd_sender.h"
#include "platform/someip/sd/services.h"

namespace qor::someip::sd {

/// The service discovery of one host address as a state machine: it offers own services, learns those of other hosts,
/// answers their subscriptions and keeps own ones up. It has no sockets, threads or timers: it is given datagrams and
/// the time, and sends through an SdSender. One thread.
///
/// After any call the wake-up time can be another one. What a call wants sent may wait for the next OnTime(), so that
/// what belongs together travels in one message; the wake-up time is then not in the future.
class SdAgent {
 public:
  using Clock = std::function<TimePoint()>;

  /// What the agent remembers.
  struct Counts {
    std::size_t services = 0;
    std::size_t endedServices = 0;
    std::size_t subscribers = 0;
    std::size_t hosts = 0;
    std::size_t destinations = 0;
    std::size_t pendingAnswers = 0;
  };

  /// `config` passes CheckSdConfig(); `sender` and `listener` outlive the agent. `seed` of the random delays should
  /// differ from host to host.
  SdAgent(const SdConfig& config, Clock clock, SdSender& sender, SdListener& listener, std::uint64_t seed);
  /// Sends nothing.
  ~SdAgent();
  SdAgent(const SdAgent&) = delete;
  SdAgent& operator=(const SdAgent&) = delete;

  /// When to call OnTime(); nothing while there is nothing to wait for.
  std::optional<TimePoint> NextWakeUp() const;
  void OnTime();
  /// One datagram from the service discovery port of another host.
  void OnDatagram(Ipv4Address sender, bool isMulticast, std::span<const std::uint8_t> bytes);
  /// The network can be used (again): offers and finds start anew with their initial delay.
  void OnNetworkUp();

  /// Offers a service, or changes what is offered under its key. Subscribers stay unless their eventgroup is gone or
  /// the service's endpoints have changed.
  void Offer(const OfferedService& service);
  /// Its subscribers end. Without effect when it is not offered.
  void StopOffer(const ServiceKey& key);
  /// A subscriber whose TCP connection has ended; when it subscribes again, it is a new one.
  void EndSubscriber(const Subscriber& subscriber);

  /// Sends finds until a matching service is offered, at most a few. All offers are learnt, required or not. Twice is
  /// as once.
  void Require(const ServiceFilter& filter);
  void Release(const ServiceFilter& filter);

  /// Keeps the eventgroup subscribed, whenever and by whomever the service is offered, until Unsubscribe(). The local
  /// endpoints are there already; those over TCP are connected. `state` and `multicast` are not looked at. A
  /// subscription of the same eventgroup is replaced.
  void Subscribe(const Subscription& subscription);
  void Unsubscribe(const ServiceKey& service, std::uint16_t eventgroup);

  /// Withdraws all offers and subscriptions, own and others', with messages that say so.
  void Stop();

  /// The services that other hosts offer and, up to a limit, those that they offered once.
  std::vector<RemoteService> Services() const;
  /// Nothing when it was never seen or has been forgotten.
  std::optional<RemoteService> FindService(const ServiceKey& key) const;
  std::vector<Subscriber> Subscribers() const;
  Counts Count() const;

 private:
  class Impl;
  const std::unique_ptr<Impl> impl_;
};

}  // namespace qor::someip::sd

#endif
