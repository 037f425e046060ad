// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/sd/sd_agent.h"

#include <algorithm>
#include <set>
#include <utility>

#include "platform/someip/sd/entry_endpoints.h"
#include "platform/someip/sd/event_subscriptions.h"
#include "platform/someip/sd/outbox.h"
#include "platform/someip/sd/own_services.h"
#include "platform/someip/sd/reboot_detector.h"
#include "platform/someip/sd/remote_services.h"
#include "platform/someip/sd/sd_message.h"
#include "platform/someip/sd/service_finder.h"
#include "platform/someip/sd/subscriber_table.h"

namespace qor::someip::sd {
namespace {

/// The service that an offer entry offers; nothing when no host can offer that.
std::optional<RemoteService> OfferOf(Ipv4Address sender, const Entry& entry) {
  const auto [endpoints, isUnfit] = EndpointsOf(entry.options);
  if (entry.service == kSdService || entry.instance == kAnyInstance || entry.major == kAnyMajor || isUnfit) {
    return std::nullopt;
  }
  return RemoteService{entry.Key(),
                       entry.minor,
                       sender,
                       endpoints,
                       ConfigurationOf(entry.options),
                       entry.ttl,
                       RemoteService::State::kOffered};
}

/// Where the message at the beginning of a datagram ends; nothing when it is not whole.
std::optional<std::size_t> MessageSize(std::span<const std::uint8_t> datagram) {
  const auto header = DecodeHeader(datagram);
  if (!header || header->PayloadSize() > datagram.size() - kHeaderSize) {
    return std::nullopt;
  }
  return kHeaderSize + header->PayloadSize();
}

}  // namespace

class SdAgent::Impl {
 public:
  Impl(const SdConfig& config, Clock clock, SdSender& sender, SdListener& listener, std::uint64_t seed)
      : clock_(std::move(clock)),
        listener_(listener),
        random_(seed),
        outbox_(sender, config.limits.destinations),
        reboots_(config.limits.hosts),
        own_(config, random_, outbox_),
        subscribers_(config.limits, own_, outbox_, listener),
        remote_(config.limits),
        finder_(config.timing, random_, remote_, outbox_),
        subscriptions_(config.timing, random_, outbox_, listener) {}

  std::optional<TimePoint> NextWakeUp() const {
    std::optional<TimePoint> next = Earlier(own_.Next(), subscribers_.Next());
    next = Earlier(next, remote_.Next());
    return Earlier(Earlier(next, finder_.Next()), subscriptions_.Next());
  }

  void OnTime() {
    const TimePoint now = clock_();
    while (const auto expired = remote_.TakeExpired(now)) {
      OnServiceGone(*expired, now);
    }
    subscribers_.OnTime(now);
    own_.OnTime(now);
    finder_.OnTime(now);
    subscriptions_.OnTime(now);
    outbox_.Flush();
  }

  void OnDatagram(Ipv4Address sender, bool isMulticast, std::span<const std::uint8_t> bytes) {
    if (!sender.IsHost()) {
      listener_.OnFault(sender, SdFault::kSenderAddress);
      return;
    }
    do {
      const auto size = MessageSize(bytes);
      if (!size) {
        listener_.OnFault(sender, SdFault::kCutShort);
        break;
      }
      const auto decoded = DecodeSdMessage(bytes.first(*size));
      if (const auto* fault = std::get_if<SdFault>(&decoded)) {
        listener_.OnFault(sender, *fault);
      } else {
        OnMessage(sender, isMulticast, std::get<SdMessage>(decoded));
      }
      bytes = bytes.subspan(*size);
    } while (!bytes.empty());
    outbox_.Flush();
  }

  void OnNetworkUp() {
    own_.Restart(clock_());
    finder_.Restart(clock_());
  }

  void Offer(const OfferedService& service) {
    const OfferedService* earlier = own_.Find(service.key);
    if (earlier != nullptr && earlier->endpoints != service.endpoints) {
      StopOffer(service.key);
    }
    own_.Offer(service, clock_());
    subscribers_.EndWithoutEventgroup(service);
  }

  void StopOffer(const ServiceKey& key) {
    if (own_.StopOffer(key)) {
      outbox_.Flush();
      subscribers_.EndService(key);
    }
  }

  void Require(const ServiceFilter& filter) { finder_.Require(filter, clock_()); }
  void Release(const ServiceFilter& filter) { finder_.Release(filter); }

  void Subscribe(const Subscription& subscription) {
    const RemoteService* service = remote_.FindOffered(subscription.service);
    subscriptions_.Subscribe(subscription, service == nullptr ? std::nullopt : std::optional(service->host), clock_());
    outbox_.Flush();
  }
  void Unsubscribe(const ServiceKey& service, std::uint16_t eventgroup) {
    subscriptions_.Unsubscribe(service, eventgroup);
    outbox_.Flush();
  }

  void Stop() {
    finder_.Clear();
    subscriptions_.UnsubscribeAll();
    const std::vector<ServiceKey> keys = own_.Keys();
    for (const ServiceKey& key : keys) {
      own_.StopOffer(key);
    }
    outbox_.Flush();
    for (const ServiceKey& key : keys) {
      subscribers_.EndService(key);
    }
  }

  const RemoteServices& Remote() const { return remote_; }
  const SubscriberTable& SubscribersOfOwn() const { return subscribers_; }
  Counts Count() const {
    return {remote_.OfferedCount(), remote_.EndedCount(),       subscribers_.Count(),
            reboots_.HostCount(),   outbox_.DestinationCount(), own_.PendingAnswerCount()};
  }

 private:
  void OnMessage(Ipv4Address sender, bool isMulticast, const SdMessage& message) {
    const TimePoint now = clock_();
    if (reboots_.OnMessage(sender, isMulticast, message.session, message.isReboot)) {
      OnReboot(sender, now);
    }
    std::set<SdFault> faults;
    std::set<ServiceFilter> finds;
    for (const Entry& entry : message.entries) {
      switch (entry.type) {
        case EntryType::kFindService:
          finds.insert({entry.service, entry.instance, entry.major, entry.minor});
          break;
        case EntryType::kOfferService:
          if (const auto fault = OnOfferEntry(sender, isMulticast, entry, now)) {
            faults.insert(*fault);
          }
          break;
        case EntryType::kSubscribeEventgroup:
          if (!isMulticast) {
            subscribers_.OnEntry(sender, entry, now);
          }
          break;
        case EntryType::kSubscribeEventgroupAck:
          if (!isMulticast) {
            subscriptions_.OnAck(sender, entry, now);
          }
          break;
      }
    }
    own_.OnFind(sender, isMulticast, finds, now);
    for (const Entry& entry : message.invalidEntries) {
      faults.insert(SdFault::kInvalidEntry);
      if (entry.type == EntryType::kSubscribeEventgroup && !isMulticast) {
        subscribers_.OnInvalidEntry(sender, entry);
      }
    }
    for (const SdFault fault : faults) {
      listener_.OnFault(sender, fault);
    }
  }

  std::optional<SdFault> OnOfferEntry(Ipv4Address sender, bool isMulticast, const Entry& entry, TimePoint now) {
    if (entry.ttl == 0) {
      if (const auto stopped = remote_.OnStopOffer(entry.Key(), sender)) {
        OnServiceGone(*stopped, now);
      }
      return std::nullopt;
    }
    const auto offered = OfferOf(sender, entry);
    if (!offered) {
      return SdFault::kInvalidEntry;
    }
    if (own_.Find(offered->key) != nullptr) {
      listener_.OnConflict(offered->key, std::nullopt, sender);
      const RemoteService* known = remote_.FindOffered(offered->key);
      if (known == nullptr || known->host != sender) {
        return std::nullopt;
      }
    }
    return OnOffer(*offered, isMulticast, now);
  }

  std::optional<SdFault> OnOffer(const RemoteService& offered, bool isMulticast, TimePoint now) {
    const auto outcome = remote_.OnOffer(offered, now);
    switch (outcome) {
      case RemoteServices::Outcome::kTooMany:
        return SdFault::kTooManyServices;
      case RemoteServices::Outcome::kOfAnotherHost:
        listener_.OnConflict(offered.key, remote_.FindOffered(offered.key)->host, offered.host);
        return std::nullopt;
      case RemoteServices::Outcome::kNew:
        listener_.OnServiceOffered(offered);
        break;
      case RemoteServices::Outcome::kChanged:
        listener_.OnServiceChanged(offered);
        break;
      case RemoteServices::Outcome::kRenewed:
        break;
    }
    subscriptions_.OnOffer(offered.key, offered.host, isMulticast, now);
    return std::nullopt;
  }

  void OnServiceGone(const RemoteService& service, TimePoint now) {
    if (service.state != RemoteService::State::kStopped) {
      finder_.OnLost(service, now);
    }
    subscriptions_.OnServiceGone(service.key);
    listener_.OnServiceGone(service);
  }

  void OnReboot(Ipv4Address host, TimePoint now) {
    listener_.OnReboot(host);
    for (const RemoteService& service : remote_.OnReboot(host)) {
      OnServiceGone(service, now);
    }
    subscribers_.EndHost(host);
  }

  const Clock clock_;
  SdListener& listener_;
  RandomSource random_;
  Outbox outbox_;
  RebootDetector reboots_;
  OwnServices own_;
  SubscriberTable subscribers_;
  RemoteServices remote_;
  ServiceFinder finder_;
  EventSubscriptions subscriptions_;
};

SdAgent::SdAgent(const SdConfig& config, Clock clock, SdSender& sender, SdListener& listener, std::uint64_t seed)
    : impl_(std::make_unique<Impl>(config, std::move(clock), sender, listener, seed)) {}

SdAgent::~SdAgent() = default;

std::optional<TimePoint> SdAgent::NextWakeUp() const { return impl_->NextWakeUp(); }
void SdAgent::OnTime() { impl_->OnTime(); }
void SdAgent::OnDatagram(Ipv4Address sender, bool isMulticast, std::span<const std::uint8_t> bytes) {
  impl_->OnDatagram(sender, isMulticast, bytes);
}
void SdAgent::OnNetworkUp() { impl_->OnNetworkUp(); }
void SdAgent::Offer(const OfferedService& service) { impl_->Offer(service); }
void SdAgent::StopOffer(const ServiceKey& key) { impl_->StopOffer(key); }
void SdAgent::Require(const ServiceFilter& filter) { impl_->Require(filter); }
void SdAgent::Release(const ServiceFilter& filter) { impl_->Release(filter); }
void SdAgent::Subscribe(const Subscription& subscription) { impl_->Subscribe(subscription); }
void SdAgent::Unsubscribe(const ServiceKey& service, std::uint16_t eventgroup) {
  impl_->Unsubscribe(service, eventgroup);
}
void SdAgent::Stop() { impl_->Stop(); }

std::vector<RemoteService> SdAgent::Services() const { return impl_->Remote().All(); }
std::optional<RemoteService> SdAgent::FindService(const ServiceKey& key) const { return impl_->Remote().Find(key); }
std::vector<Subscriber> SdAgent::Subscribers() const { return impl_->SubscribersOfOwn().All(); }
SdAgent::Counts SdAgent::Count() const { return impl_->Count(); }

}  // namespace qor::someip::sd
