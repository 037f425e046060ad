// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COMMON_RECORDS_SOMEIP_LINK_H
#define QOR_COMMON_RECORDS_SOMEIP_LINK_H

#include <compare>
#include <cstdint>
#include <string>
#include <vector>

#include "src/common/records/event_info.h"
#include "src/common/records/visit.h"

/// What applications and their daemon tell each other about SOME/IP services: who offers what where, and who takes it.
namespace qor::maintaind {

/// One service instance.
struct ServiceIndex {
  std::uint16_t serviceId = 0;
  std::uint16_t instanceId = 0;
  std::uint8_t majorVersion = 0;

  auto operator<=>(const ServiceIndex&) const = default;  // NOLINT(modernize-use-nullptr): a mistake of the tool

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("serviceId", s.serviceId...);
    visit("instanceId", s.instanceId...);
    visit("majorVersion", s.majorVersion...);
  }
};

/// How one event of a service travels.
struct OfferedEvent {
  std::uint16_t eventId = 0;
  std::vector<std::uint16_t> eventGroupIds;
  bool isReliable = false;
  bool isFieldNotifier = false;
  SomeipTpInfo tp;

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("eventId", s.eventId...);
    visit("eventGroupIds", s.eventGroupIds...);
    visit("isReliable", s.isReliable...);
    visit("isFieldNotifier", s.isFieldNotifier...);
    visit("tp", s.tp...);
  }
};

/// A service instance that an application provides, and where it listens on this host.
struct ServiceOffer {
  ServiceIndex service;
  std::uint32_t minorVersion = 0;
  std::string address;              ///< dotted IPv4
  std::uint16_t udpPort = 0;        ///< 0: no UDP
  std::uint16_t tcpPort = 0;        ///< 0: no TCP
  std::uint16_t publicUdpPort = 0;  ///< for other hosts; 0: any
  std::uint16_t publicTcpPort = 0;  ///< for other hosts; 0: any
  bool isLocalOnly = false;         ///< not for other hosts
  std::uint64_t lost = 0;           ///< messages that were lost on their way to the provider; daemon only
  std::vector<OfferedEvent> events;

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("service", s.service...);
    visit("minorVersion", s.minorVersion...);
    visit("address", s.address...);
    visit("udpPort", s.udpPort...);
    visit("tcpPort", s.tcpPort...);
    visit("publicUdpPort", s.publicUdpPort...);
    visit("publicTcpPort", s.publicTcpPort...);
    visit("isLocalOnly", s.isLocalOnly...);
    visit("lost", s.lost...);
    visit("events", s.events...);
  }
};

/// What the daemon tells those who look for a service instance, now and with every change.
struct ServiceState {
  ServiceIndex service;
  bool isAvailable = false;
  std::string address;
  std::uint16_t udpPort = 0;  ///< 0: no UDP
  std::uint16_t tcpPort = 0;  ///< 0: no TCP
  std::uint64_t lost = 0;     ///< messages that were lost between the provider's host and this one

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("service", s.service...);
    visit("isAvailable", s.isAvailable...);
    visit("address", s.address...);
    visit("udpPort", s.udpPort...);
    visit("tcpPort", s.tcpPort...);
    visit("lost", s.lost...);
  }
};

/// A subscriber of one eventgroup: the endpoint that its notifications go to.
struct EventgroupSubscription {
  ServiceIndex service;
  std::uint16_t eventGroupId = 0;
  std::string address;
  std::uint16_t port = 0;
  bool isReliable = false;           ///< the endpoint is the subscriber's end of a TCP connection
  std::vector<OfferedEvent> events;  ///< those that the subscriber expects

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("service", s.service...);
    visit("eventGroupId", s.eventGroupId...);
    visit("address", s.address...);
    visit("port", s.port...);
    visit("isReliable", s.isReliable...);
    visit("events", s.events...);
  }
};

/// What the daemon tells the provider of a service instance.
struct SubscriberChange {
  EventgroupSubscription subscription;  ///< for an application without the events
  bool isSubscribed = false;

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("subscription", s.subscription...);
    visit("isSubscribed", s.isSubscribed...);
  }
};

}  // namespace qor::maintaind

#endif
