// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_COMMON_RUN_END_H
#define QOR_TOOLS_COMMON_RUN_END_H

#include "src/common/query.h"
#include "tools/common/exit_code.h"

namespace qor::tools {

/// Says on stderr that there is no daemon, and what to do about it.
void ComplainNoDaemon();

/// Says so of each daemon that did not answer, as "warning" or "error".
void ComplainMissing(const common::DaemonSet& missing, const char* severity);

/// How a run ends that received what there was to receive: without any sample it says why.
ExitCode EndOf(bool hasData, bool isInterrupted);

}  // namespace qor::tools

#endif
