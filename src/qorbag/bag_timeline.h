// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_BAG_TIMELINE_H
#define QOR_QORBAG_BAG_TIMELINE_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "src/qorbag/qor_view.h"

namespace qor::qorbag {

/// How the messages of each event spread over time. Any thread.
struct BagTimeline {
  std::uint64_t beginTime = 0;  ///< of the first message, milliseconds
  std::uint64_t endTime = 0;    ///< of the last
  /// Messages by event name in as many equal parts of the time as were asked for.
  std::map<std::string, std::vector<std::uint64_t>> counts;
};

/// Of the messages of a view, in at least one part. Looks at a few messages of each part alone.
BagTimeline MakeTimeline(const QorView& view, std::size_t parts);

}  // namespace qor::qorbag

#endif
