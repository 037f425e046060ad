// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_COMMON_LOG_SETUP_H
#define QOR_TOOLS_COMMON_LOG_SETUP_H

namespace qor::tools {

/// Sends the log where the environment says (QOR_LOG_LEVEL, QOR_LOG_FILE, QOR_LOG_DLT), with finer lines on stderr for
/// each time that -v was given: info, debug, verbose. False when a sink cannot be opened; a line on stderr says why.
bool SetUpLog(int verbosity);
/// The same, with nothing on stderr as long as -v is not given: for tools that tell what the log would.
bool SetUpQuietLog(int verbosity);

}  // namespace qor::tools

#endif
