// SPDX-License-Identifier: Apache-2.0
#include "tools/common/log_setup.h"

#include <algorithm>

#include "platform/log/log_config.h"

namespace qor::tools {

namespace {

bool SetUp(log::LogOptions options, int verbosity) {
  if (verbosity > 0) {
    const auto finest = static_cast<int>(LogLevel::kInfo) - (verbosity - 1);
    const auto level = static_cast<LogLevel>(std::max(finest, static_cast<int>(LogLevel::kVerbose)));
    options.stderrLevel = std::min(options.stderrLevel, level);
  }
  return log::ConfigureLog(options);
}

}  // namespace

bool SetUpLog(int verbosity) { return SetUp(log::LogOptionsFromEnvironment(), verbosity); }

bool SetUpQuietLog(int verbosity) {
  log::LogOptions options = log::LogOptionsFromEnvironment();
  options.stderrLevel = LogLevel::kOff;
  return SetUp(options, verbosity);
}

}  // namespace qor::tools
