// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_SD_SERVICES_H
#define QOR_SOMEIP_SD_SERVICES_H

#include <chrono>
#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/someip/endpoint.h"

/// What the service discovery agent and its owner speak about.
namespace qor::someip::sd {

using Duration = std::chrono::steady_clock::duration;
using TimePoint = std::chrono::steady_clock::time_point;

inline constexpr std::uint16_t kAnyInstance = 0xFFFF;
inline constexpr std::uint8_t kAnyMajor = 0xFF;
inline constexpr std::uint32_t kAnyMinor = 0xFFFFFFFF;

/// Times to live are in seconds and have 24 bits; the highest one ends with the next reboot of the sender.
inline constexpr std::uint32_t kTtlUntilReboot = 0xFFFFFF;

/// One service instance. Its major versions are services of their own.
struct ServiceKey {
  std::uint16_t service = 0;
  std::uint16_t instance = 0;
  std::uint8_t major = 0;

  auto operator<=>(const ServiceKey&) const = default;
};

/// Service instances that somebody looks for.
struct ServiceFilter {
  std::uint16_t service = 0;
  std::uint16_t instance = kAnyInstance;
  std::uint8_t major = kAnyMajor;
  std::uint32_t minor = kAnyMinor;

  bool Matches(const ServiceKey& key, std::uint32_t itsMinor) const {
    return service == key.service && (instance == kAnyInstance || instance == key.instance) &&
           (major == kAnyMajor || major == key.major) && (minor == kAnyMinor || minor == itsMinor);
  }

  auto operator<=>(const ServiceFilter&) const = default;
};

/// One item of a configuration option: "key=value", or "key" alone.
struct ConfigurationItem {
  std::string key;  ///< not empty and without '='; key and value together at most 254 bytes
  std::optional<std::string> value;

  bool operator==(const ConfigurationItem&) const = default;
};
using Configuration = std::vector<ConfigurationItem>;

/// An eventgroup of an own service.
struct OfferedEventgroup {
  std::uint16_t id = 0;
  bool needsUdp = true;               ///< a subscriber has to give an endpoint over UDP
  bool needsTcp = false;              ///< the same over TCP
  std::optional<Endpoint> multicast;  ///< where its notifications (also) go; told in the acknowledgement
};

/// An own service.
struct OfferedService {
  ServiceKey key;
  std::uint32_t minor = 0;
  Endpoints endpoints;
  Configuration configuration;
  std::vector<OfferedEventgroup> eventgroups;
};

/// A service that another host offers or offered.
struct RemoteService {
  enum class State : std::uint8_t { kOffered, kStopped, kExpired, kRebooted };

  ServiceKey key;
  std::uint32_t minor = 0;
  Ipv4Address host;  ///< who sent the offer; its endpoints can have other addresses
  Endpoints endpoints;
  Configuration configuration;
  std::uint32_t ttl = 0;
  State state = State::kOffered;

  bool operator==(const RemoteService&) const = default;
};

/// Another host's subscription of an eventgroup of an own service.
struct Subscriber {
  ServiceKey service;
  std::uint16_t eventgroup = 0;
  Ipv4Address host;
  std::uint8_t counter = 0;  ///< tells subscriptions apart that are equal otherwise
  Endpoints endpoints;       ///< their address is the host's

  auto operator<=>(const Subscriber&) const = default;
};

enum class Refusal : std::uint8_t {
  kUnknownService,  ///< or instance
  kWrongMajorVersion,
  kUnknownEventgroup,
  kInvalidOptions,   ///< options that are missing in the message or malformed
  kMissingEndpoint,  ///< no endpoint, or none over a protocol that the eventgroup needs
  kUnfitEndpoint,    ///< an endpoint over a protocol that the service does not offer, or two over one
  kForeignAddress,   ///< an endpoint that is not on the sender's address
  kTooManyFromHost,
  kTooMany,
  kNotConnected,  ///< the owner's answer: no TCP connection from that endpoint
  kNotNow,        ///< the owner's answer: any other reason
};

enum class SubscriberEnd : std::uint8_t {
  kUnsubscribed,
  kExpired,
  kRebooted,
  kServiceStopped,
  kConnectionLost,  ///< the owner's word: its TCP connection has ended
};

/// An own subscription of an eventgroup of another host's service. There is one an eventgroup.
struct Subscription {
  enum class State : std::uint8_t {
    kWaiting,  ///< nobody offers the service
    kPending,  ///< asked, no answer yet
    kAcknowledged,
    kRefused,
  };

  ServiceKey service;
  std::uint16_t eventgroup = 0;
  Endpoints local;
  std::uint32_t ttl = 3;
  State state = State::kWaiting;
  std::optional<Endpoint> multicast;  ///< from the acknowledgement: where notifications can come besides `local`
};

const char* Text(RemoteService::State state);
const char* Text(Refusal refusal);
const char* Text(SubscriberEnd end);
const char* Text(Subscription::State state);

}  // namespace qor::someip::sd

#endif
