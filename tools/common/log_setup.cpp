// SPDX-License-Identifier: Apache-2.0
#include "tools/common/log_setup.h"

#include <algorithm>

#include "platform/log/log_config.h"

namespace qor::tools {

bool SetUpLog(int verbosity) {
  log::LogOptions options = log::LogOptionsFromEnvironment();
  if (verbosity > 0) {
    const auto finest = static_cast<int>(LogLevel::kInfo) - (verbosity - 1);
    const auto level = static_cast<LogLevel>(std::max(finest, static_cast<int>(LogLevel::kVerbose)));
    options.stderrLevel = std::min(options.stderrLevel, level);
  }
  return log::ConfigureLog(options);
}

}  // namespace qor::tools
