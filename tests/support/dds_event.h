// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TESTS_SUPPORT_DDS_EVENT_H
#define QOR_TESTS_SUPPORT_DDS_EVENT_H

#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "src/common/records/event_info.h"

namespace qor::test {

/// A domain in 20..60 by process, so that tests run side by side.
inline std::uint16_t DomainOfThisProcess() {
  constexpr int kFirst = 20;
  constexpr int kCount = 41;
  return static_cast<std::uint16_t>(kFirst + ::getpid() % kCount);
}

/// No other test on this host uses this name.
inline std::string UniqueName(const std::string& base) {
  static std::atomic<int> counter{0};
  return base + "_" + std::to_string(::getpid()) + "_" + std::to_string(++counter);
}

/// An event on a topic of its own.
inline maintaind::EventInfo DdsEvent(std::vector<maintaind::TransportQos> transports = {}) {
  maintaind::EventInfo event;
  event.dds.domainId = DomainOfThisProcess();
  event.dds.topicName = UniqueName("topic");
  event.dds.typeName = UniqueName("Type");
  event.dds.transports = std::move(transports);
  return event;
}

}  // namespace qor::test

#endif
