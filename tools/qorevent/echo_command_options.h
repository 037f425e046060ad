// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_QOREVENT_ECHO_COMMAND_OPTIONS_H
#define QOR_TOOLS_QOREVENT_ECHO_COMMAND_OPTIONS_H

#include <string>

#include "tools/qorevent/receive_options.h"

namespace qor::tools {

/// What the command line of echo says. The count is of samples.
struct EchoCommandOptions : ReceiveOptions {
  std::string fieldPath;  ///< empty: the whole value
  bool isMultiLine = false;
  bool isSummary = false;
  bool isRaw = false;
  bool hasTime = false;
  bool isOnce = false;
};

}  // namespace qor::tools

#endif
