// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COMMON_RECORDS_QOS_H
#define QOR_COMMON_RECORDS_QOS_H

#include <cstdint>

#include "src/common/records/visit.h"

namespace qor::maintaind {

/// DDS DURABILITY, numbered as in RTPS.
enum class DurabilityQos : std::uint8_t { kVolatile = 0, kTransientLocal = 1, kTransient = 2, kPersistent = 3 };

/// DDS RELIABILITY.
enum class ReliabilityKind : std::uint8_t { kBestEffort = 0, kReliable = 1 };

/// DDS HISTORY kind.
enum class HistoryKind : std::uint8_t { kKeepLast = 0, kKeepAll = 1 };

/// DDS HISTORY: how many samples an endpoint keeps for each instance.
struct HistoryQos {
  HistoryKind kind = HistoryKind::kKeepLast;
  std::uint32_t depth = 10;  ///< samples; meaningful for KEEP_LAST

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("kind", s.kind...);
    visit("depth", s.depth...);
  }
};

struct QosInfo {
  DurabilityQos durability = DurabilityQos::kVolatile;
  HistoryQos history;
  ReliabilityKind reliability = ReliabilityKind::kReliable;

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("durability", s.durability...);
    visit("history", s.history...);
    visit("reliability", s.reliability...);
  }
};

}  // namespace qor::maintaind

#endif
