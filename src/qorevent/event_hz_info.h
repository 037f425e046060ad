// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QOREVENT_EVENT_HZ_INFO_H
#define QOR_QOREVENT_EVENT_HZ_INFO_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "src/common/filters.h"

namespace qor::qorevent {

/// How one event arrives, over the window of its latest intervals. Every figure but the counts is not a number while
/// the window is empty.
struct EventHzInfo {
  double rate = 0.0;              ///< hertz
  double minInterval = 0.0;       ///< seconds
  double maxInterval = 0.0;       ///< seconds
  double stdDev = 0.0;            ///< seconds; see GetStdDevTimes for what it counts
  std::uint32_t windowSize = 0;   ///< intervals in the window
  double jitter = 0.0;            ///< seconds; standard deviation of the intervals
  double bandwidth = 0.0;         ///< payload bytes per second since the previous report, or since the first sample
  std::uint64_t sampleCount = 0;  ///< since the subscription
};

/// One event over the whole measurement.
struct EventHzTotals {
  std::uint64_t sampleCount = 0;
  std::uint64_t byteCount = 0;  ///< payload bytes
  double duration = 0.0;        ///< seconds from the first sample to the last
  double meanRate = 0.0;        ///< hertz; not a number with fewer than two samples
  double bandwidth = 0.0;       ///< payload bytes per second; not a number with fewer than two samples
  std::uint64_t lostCount = 0;  ///< samples that the transport knows were lost
  bool isSubscribed = false;    ///< false: the event was never found, or its subscription failed
};

/// What the entries of one report are worth.
enum class QoreventHzType : std::uint8_t {
  kWaiting = 0,    ///< no event has delivered enough samples for one interval
  kMeasuring = 1,  ///< at least one event has intervals
};

using EventHzList = std::vector<std::pair<std::string, EventHzInfo>>;
using EventHzTotalsList = std::vector<std::pair<std::string, EventHzTotals>>;

/// What the user chose besides the event names.
struct HzOptions {
  CommonFilter filter;        ///< narrows each name to one event
  std::string ddsNetwork;     ///< address of the interface for DDS; empty: where the event says
  std::string someipNetwork;  ///< name of the SOME/IP network; empty: where the event says
};

}  // namespace qor::qorevent

#endif
