// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COMMON_FILTERS_H
#define QOR_COMMON_FILTERS_H

#include <cstdint>
#include <string>

namespace qor {

/// Narrows a query by name. An empty text and domain id kAnyDomain select everything.
struct CommonFilter {
  static constexpr std::uint16_t kAnyDomain = 1000;

  std::string instanceShortName;
  std::string networkIp;
  std::uint16_t domainId = kAnyDomain;
  std::string uuid;  ///< decimal digits, without the brackets of a queried name
};

namespace qorevent {

/// Which side of an event the user wants to see.
enum class RoleType : std::uint8_t { kPublisher = 0, kSubscriber = 1, kAll = 2 };

/// Over which distance an event can be received.
enum class CommunicableType : std::uint8_t { kUndefined = 0, kLocal = 1, kNetwork = 2, kCross = 3, kAll = 4 };

/// What the user asked for in an event list.
struct EventFilter {
  RoleType roleType = RoleType::kAll;
  CommunicableType communicableType = CommunicableType::kAll;
};

}  // namespace qorevent

}  // namespace qor

#endif
