// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_QOREVENT_HZ_COMMAND_OPTIONS_H
#define QOR_TOOLS_QOREVENT_HZ_COMMAND_OPTIONS_H

#include <cstdint>

#include "tools/qorevent/receive_options.h"

namespace qor::tools {

/// What the command line of hz says. The count is of reports, or of samples with isMessages; the duration is that of
/// the measurement.
struct HzCommandOptions : ReceiveOptions {
  std::uint32_t windowSize = 1000;  ///< intervals
  bool isMessages = false;          ///< print the name of each sample instead of rates
};

}  // namespace qor::tools

#endif
