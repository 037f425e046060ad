// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_QOREVENT_HZ_OPTIONS_H
#define QOR_TOOLS_QOREVENT_HZ_OPTIONS_H

#include <cstdint>
#include <string>
#include <vector>

#include "src/qorevent/event_hz_info.h"
#include "tools/common/common_options.h"

namespace qor::tools {

/// What the command line of hz says. Times are in seconds; 0: no limit.
struct HzCommandOptions {
  CommonOptions common;
  qorevent::HzOptions hz;
  std::vector<std::string> names;
  std::uint32_t windowSize = 1000;  ///< intervals
  bool isMessages = false;          ///< print the name of each sample instead of rates
  std::uint64_t count = 0;          ///< reports, or samples with isMessages; 0: no limit
  double duration = 0.0;            ///< of the measurement
  double timeout = 0.0;             ///< until the first sample
};

}  // namespace qor::tools

#endif
