// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COMMON_RECORDS_LATENCY_H
#define QOR_COMMON_RECORDS_LATENCY_H

#include <cstdint>
#include <string>
#include <vector>

#include "src/common/records/binding.h"
#include "src/common/records/visit.h"

namespace qor::maintaind {

enum class LatencyMode : std::uint8_t { kEnable = 0, kDisable = 1 };

/// Identifies one event as the daemons know it.
struct LatencyIndex {
  std::string eventName;
  DriverType driver = DriverType::kDds;
  std::uint16_t serviceId = 0;
  std::uint16_t instanceId = 0;
  std::uint16_t eventId = 0;   ///< SOME/IP only
  std::uint16_t domainId = 0;  ///< DDS only
  std::string topicName;       ///< DDS only
  std::string networkSegment;

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("eventName", s.eventName...);
    visit("driver", s.driver...);
    visit("serviceId", s.serviceId...);
    visit("instanceId", s.instanceId...);
    visit("eventId", s.eventId...);
    visit("domainId", s.domainId...);
    visit("topicName", s.topicName...);
    visit("networkSegment", s.networkSegment...);
  }
};

/// Switches the measurement of one event on or off.
struct LatencySwitch {
  LatencyIndex index;
  LatencyMode mode = LatencyMode::kEnable;

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("index", s.index...);
    visit("mode", s.mode...);
  }
};

/// Asks for the last `count` measurements of one event.
struct LatencyQueryInfo {
  LatencyIndex index;
  std::uint16_t count = 0;  ///< 0: all that are kept

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("index", s.index...);
    visit("count", s.count...);
  }
};

struct LatencyStatus {
  bool isEnabled = false;
  std::uint64_t enabledSinceNs = 0;  ///< realtime clock, nanoseconds; 0 while off

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("isEnabled", s.isEnabled...);
    visit("enabledSinceNs", s.enabledSinceNs...);
  }
};

/// The latencies of one event at one subscriber, newest last.
struct SubscriberLatency {
  std::string subscriber;
  std::vector<std::uint64_t> latenciesNs;  ///< publication to reception, nanoseconds

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("subscriber", s.subscriber...);
    visit("latenciesNs", s.latenciesNs...);
  }
};

struct LatencyResult {
  std::vector<SubscriberLatency> subscribers;

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("subscribers", s.subscribers...);
  }
};

}  // namespace qor::maintaind

#endif
