// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_QOREVENT_RECEIVE_OPTIONS_H
#define QOR_TOOLS_QOREVENT_RECEIVE_OPTIONS_H

#include <cstdint>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "src/common/filters.h"
#include "tools/common/common_options.h"

namespace qor::tools {

/// What the command line of a verb that receives events says. Times are in seconds; 0: no limit.
struct ReceiveOptions {
  CommonOptions common;
  CommonFilter filter;
  std::vector<std::string> names;
  std::string ddsNetwork;
  std::string someipNetwork;
  std::uint64_t count = 0;  ///< 0: no limit
  double duration = 0.0;
  double timeout = 0.0;  ///< until an event is there and has sent its first sample
};

/// Adds the names, at most `maxNames`, and all options but --count. `options` must live as long as the command.
void AddReceiveOptions(CLI::App& command, ReceiveOptions& options, int maxNames);
/// Throws, as CLI11 does, when there is no name.
void RequireNames(const ReceiveOptions& options);
CLI::Option* AddCountOption(CLI::App& command, ReceiveOptions& options, const std::string& text);

}  // namespace qor::tools

#endif
