// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_QOREVENT_ECHO_COMMAND_OPTIONS_H
#define QOR_TOOLS_QOREVENT_ECHO_COMMAND_OPTIONS_H

#include "tools/common/sample_printer.h"
#include "tools/qorevent/receive_options.h"

namespace qor::tools {

/// What the command line of echo says. The count is of samples.
struct EchoCommandOptions : ReceiveOptions {
  SampleLayout layout;
  bool isOnce = false;
};

}  // namespace qor::tools

#endif
