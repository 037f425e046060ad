// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/bag_timeline.h"

#include <algorithm>

namespace qor::qorbag {

BagTimeline MakeTimeline(const QorView& view, std::size_t parts) {
  BagTimeline timeline{view.GetBeginTime(), view.GetEndTime(), {}};
  // Both ends count; products beyond 64 bits are out of reach of any clock, not of any file.
  const long double width =
      (static_cast<long double>(timeline.endTime - timeline.beginTime) + 1) / static_cast<long double>(parts);
  for (const MessageRange& range : view.Ranges()) {
    auto& counts = timeline.counts.try_emplace(range.connection->eventName, parts, 0).first->second;
    auto at = range.messages.begin();
    for (std::size_t part = 0; part < parts; ++part) {
      const auto isInside = [&](const MessageIndex& message) {
        return part + 1 == parts ||
               static_cast<long double>(message.time - timeline.beginTime) < static_cast<long double>(part + 1) * width;
      };
      const auto end = std::partition_point(at, range.messages.end(), isInside);
      counts[part] += static_cast<std::uint64_t>(end - at);
      at = end;
    }
  }
  return timeline;
}

}  // namespace qor::qorbag
