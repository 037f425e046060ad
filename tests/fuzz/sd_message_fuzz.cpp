// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <variant>
#include <vector>

#include "platform/someip/sd/sd_agent.h"
#include "platform/someip/sd/sd_message.h"
#include "tests/fuzz/require.h"

namespace qor::someip::sd {
namespace {

constexpr Ipv4Address kOwn{0x0A4D0001};

/// An agent with small limits whose messages have to be readable. Its owner does what an owner does within the calls.
class Agent : public SdSender, public SdListener {
 public:
  Agent() {
    OfferedService own;
    own.key = {0x1001, 1, 1};
    own.endpoints = {Endpoint{kOwn, 30501}, Endpoint{kOwn, 30501}};
    own.eventgroups = {{7, true, false, Endpoint{{0xEFC00001}, 30502}}, {8, true, true, {}}};
    agent_.Offer(own);
    agent_.Require({0x1002});
    Subscribe({0x1002, 1, 1});
  }

  void Pass(std::chrono::milliseconds time) {
    now_ += time;
    for (int i = 0; i < 1000 && agent_.NextWakeUp().value_or(TimePoint::max()) <= now_; ++i) {
      agent_.OnTime();
    }
    Require(agent_.NextWakeUp().value_or(TimePoint::max()) > now_);
    Check();
  }
  void OnDatagram(Ipv4Address sender, bool isMulticast, std::span<const std::uint8_t> bytes) {
    agent_.OnDatagram(sender, isMulticast, bytes);
    Check();
  }
  /// Every subscriber that was accepted ends.
  void Finish() {
    agent_.Stop();
    Require(agent_.Count().subscribers == 0 && subscribers_ == 0);
  }

  void SendMulticast(std::span<const std::uint8_t> message) override { CheckSent(message); }
  void SendUnicast(Ipv4Address, std::span<const std::uint8_t> message) override { CheckSent(message); }

  void OnServiceOffered(const RemoteService& service) override { Subscribe(service.key); }
  void OnServiceChanged(const RemoteService& service) override { Require(service.host.IsHost()); }
  void OnServiceGone(const RemoteService& service) override {
    if (service.state == RemoteService::State::kExpired) {
      agent_.Unsubscribe(service.key, 7);
    }
  }
  std::optional<Refusal> OnSubscribe(const Subscriber& subscriber) override {
    Require(subscriber.endpoints.udp && subscriber.endpoints.udp->address == subscriber.host);
    if (subscriber.counter == 9) {
      return Refusal::kNotNow;
    }
    ++subscribers_;
    return std::nullopt;
  }
  void OnSubscriberEnded(const Subscriber&, SubscriberEnd) override { --subscribers_; }
  void OnSubscriberRefused(const Subscriber&, Refusal) override {}
  void OnSubscriptionState(const Subscription& subscription) override {
    if (subscription.state == Subscription::State::kRefused) {
      agent_.Unsubscribe(subscription.service, subscription.eventgroup);
    }
  }
  void OnReboot(Ipv4Address) override {}
  void OnConflict(const ServiceKey&, std::optional<Ipv4Address>, Ipv4Address) override {}
  void OnFault(Ipv4Address, SdFault) override {}

 private:
  static SdConfig Config() {
    SdConfig config;
    config.limits = {8, 4, 4, 6, 3, 4, 4, 2};
    return config;
  }
  void Subscribe(const ServiceKey& service) {
    Subscription subscription;
    subscription.service = service;
    subscription.eventgroup = 7;
    subscription.local.udp = Endpoint{kOwn, 40000};
    agent_.Subscribe(subscription);
  }
  static void CheckSent(std::span<const std::uint8_t> bytes) {
    Require(bytes.size() <= kMaxSentSize);
    const auto decoded = DecodeSdMessage(bytes);
    const auto* message = std::get_if<SdMessage>(&decoded);
    Require(message != nullptr && !message->entries.empty() && message->invalidEntries.empty());
    Require(message->session != 0);
  }
  void Check() const {
    const SdLimits limits = Config().limits;
    const SdAgent::Counts counts = agent_.Count();
    Require(counts.services <= limits.services && counts.endedServices <= limits.endedServices);
    Require(counts.subscribers <= limits.subscribers && counts.subscribers == subscribers_);
    Require(counts.hosts <= limits.hosts && counts.destinations <= limits.destinations);
    Require(counts.pendingAnswers <= limits.pendingAnswers);
  }

  TimePoint now_{};
  std::size_t subscribers_ = 0;
  SdAgent agent_{Config(), [this] { return now_; }, *this, *this, 1};
};

/// What was decoded is the same after it was encoded and decoded again, in as many messages as it takes.
void CheckRoundTrip(std::span<const std::uint8_t> bytes) {
  const auto decoded = DecodeSdMessage(bytes);
  const auto* message = std::get_if<SdMessage>(&decoded);
  if (message == nullptr) {
    return;
  }
  Require(message->entries.size() + message->invalidEntries.size() <= kMaxEntries);
  SdMessageWriter writer;
  std::vector<Entry> again;
  const auto finish = [&] {
    const auto part = std::get<SdMessage>(DecodeSdMessage(writer.Finish(message->session, message->isReboot)));
    Require(part.session == message->session && part.isReboot == message->isReboot && part.invalidEntries.empty());
    again.insert(again.end(), part.entries.begin(), part.entries.end());
  };
  std::vector<Entry> encoded;
  for (const Entry& entry : message->entries) {
    bool isAdded = writer.Add(entry);
    if (!isAdded && !writer.IsEmpty()) {
      finish();
      isAdded = writer.Add(entry);
    }
    if (isAdded) {
      encoded.push_back(entry);
    } else {
      Require(!entry.options.empty());  // more than one message can hold
    }
  }
  finish();
  Require(again == encoded);
}

}  // namespace
}  // namespace qor::someip::sd

/// Datagrams, each after four bytes: who sends it and whether by multicast (highest bit), the time that passes before
/// (tens of milliseconds), and its length.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace qor::someip;
  using namespace qor::someip::sd;
  Agent agent;
  std::span<const std::uint8_t> rest(data, size);
  while (rest.size() >= 4) {
    const Ipv4Address sender{0x0A4D0002U + (rest[0] & 0x0FU)};
    const bool isMulticast = (rest[0] & 0x80U) != 0;
    agent.Pass(std::chrono::milliseconds(10 * rest[1]));
    const std::size_t length = std::min<std::size_t>(rest[2] << 8U | rest[3], rest.size() - 4);
    CheckRoundTrip(rest.subspan(4, length));
    agent.OnDatagram(sender, isMulticast, rest.subspan(4, length));
    rest = rest.subspan(4 + length);
  }
  agent.Pass(std::chrono::seconds(10));
  agent.Finish();
  return 0;
}
