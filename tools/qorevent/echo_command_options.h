// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_QOREVENT_ECHO_COMMAND_OPTIONS_H
#define QOR_TOOLS_QOREVENT_ECHO_COMMAND_OPTIONS_H

#include <cstdint>
#include <string>
#include <vector>

#include "src/common/filters.h"
#include "tools/common/common_options.h"

namespace qor::tools {

/// What the command line of echo says.
struct EchoCommandOptions {
  CommonOptions common;
  CommonFilter filter;
  std::vector<std::string> names;
  std::string ddsNetwork;
  std::string someipNetwork;
  std::string fieldPath;  ///< empty: the whole value
  bool isMultiLine = false;
  bool isSummary = false;
  bool isRaw = false;
  bool hasTime = false;
  bool isOnce = false;
  std::uint64_t count = 0;  ///< samples; 0: no limit
  double duration = 0.0;    ///< seconds; 0: no limit
  double timeout = 0.0;     ///< seconds; 0: no limit
};

}  // namespace qor::tools

#endif
