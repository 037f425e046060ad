// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_COMMON_EXIT_CODE_H
#define QOR_TOOLS_COMMON_EXIT_CODE_H

namespace qor::tools {

/// How every tool ends.
enum ExitCode : int {
  kExitDone = 0,          ///< also ended by Ctrl-C after data, and when the reader of a pipe has enough
  kExitFailure = 1,       ///< no daemon, an error, or with --strict a daemon that did not answer
  kExitUsage = 2,         ///< the command line is wrong
  kExitNoMatch = 3,       ///< nothing matched the name
  kExitTimeLimit = 124,   ///< the time limit passed before there was any data
  kExitInterrupted = 130  ///< Ctrl-C before there was any data
};

}  // namespace qor::tools

#endif
