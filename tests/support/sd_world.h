// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TESTS_SUPPORT_SD_WORLD_H
#define QOR_TESTS_SUPPORT_SD_WORLD_H

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/someip/sd/sd_agent.h"
#include "platform/someip/sd/sd_message.h"

namespace qor::test {

/// Service discovery agents on a network that is made of calls, in a time that stands still until it is told to pass.
class SdWorld {
 public:
  using Address = someip::Ipv4Address;
  using Duration = someip::sd::Duration;
  using Entry = someip::sd::Entry;

  /// A message as it was sent.
  struct Sent {
    std::chrono::milliseconds time{0};  ///< since the world began
    Address from;
    std::optional<Address> to;  ///< nothing: multicast
    someip::sd::SdMessage message;
  };

  /// An agent and what it told its owner, as lines of text.
  class Host : public someip::sd::SdListener, public someip::sd::SdSender {
   public:
    Host(SdWorld& world, Address address) : world_(world), address_(address) {}

    someip::sd::SdAgent& Agent() { return *agent_; }
    Address At() const { return address_; }
    /// What was told since the last call, each line ended by a semicolon.
    std::string TakeTold() { return std::exchange(told_, ""); }

    std::optional<someip::sd::Refusal> answer;       ///< to subscriptions
    std::function<void(const std::string&)> onTold;  ///< within the agent's call
    bool isConnected = true;                         ///< otherwise nothing that it sends or is sent arrives

    void SendMulticast(std::span<const std::uint8_t> message) override;
    void SendUnicast(Address destination, std::span<const std::uint8_t> message) override;

    void OnServiceOffered(const someip::sd::RemoteService& service) override;
    void OnServiceChanged(const someip::sd::RemoteService& service) override;
    void OnServiceGone(const someip::sd::RemoteService& service) override;
    std::optional<someip::sd::Refusal> OnSubscribe(const someip::sd::Subscriber& subscriber) override;
    void OnSubscriberEnded(const someip::sd::Subscriber& subscriber, someip::sd::SubscriberEnd end) override;
    void OnSubscriberRefused(const someip::sd::Subscriber& subscriber, someip::sd::Refusal reason) override;
    void OnSubscriptionState(const someip::sd::Subscription& subscription) override;
    void OnReboot(Address host) override;
    void OnConflict(const someip::sd::ServiceKey& key, std::optional<Address> owner, Address claimant) override;
    void OnFault(Address sender, someip::sd::SdFault fault) override;

   private:
    friend class SdWorld;
    void Tell(const std::string& line);

    SdWorld& world_;
    const Address address_;
    std::unique_ptr<someip::sd::SdAgent> agent_;
    std::string told_;
  };

  explicit SdWorld(const someip::sd::SdConfig& itsConfig = {}) : config(itsConfig) {}

  someip::sd::SdConfig config;            ///< of the hosts that begin from now on
  std::function<bool(const Sent&)> lose;  ///< whether a message gets lost
  std::vector<Sent> sent;

  Host& AddHost(std::uint32_t address);
  /// The agent begins anew, knowing nothing and telling nobody.
  void Restart(Host& host);

  /// Lets time pass, and everything happen that is due in it.
  void Pass(Duration duration);
  /// A message to one host.
  void Inject(Host& to, Address from, bool isMulticast, const std::vector<Entry>& entries, std::uint16_t session = 0,
              bool isReboot = false);
  /// The times since the world began at which such entries went out by multicast.
  std::vector<int> TimesOf(someip::sd::EntryType type, std::uint16_t service) const;

 private:
  struct Datagram {
    Address from;
    std::optional<Address> to;
    std::vector<std::uint8_t> bytes;
  };

  void Post(Address from, std::optional<Address> to, std::span<const std::uint8_t> bytes);
  void Deliver();

  const someip::sd::TimePoint start_{};
  someip::sd::TimePoint now_ = start_;
  std::vector<std::unique_ptr<Host>> hosts_;
  std::vector<Datagram> underway_;
};

}  // namespace qor::test

#endif
