// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TESTS_FUZZ_QUIET_LOG_H
#define QOR_TESTS_FUZZ_QUIET_LOG_H

#include "platform/log/log_config.h"

namespace qor {

/// Inputs that are wrong are no news. Each call after the first does nothing.
inline void KeepLogQuiet() {
  [[maybe_unused]] static const bool isQuiet = [] {
    log::LogOptions off;
    off.stderrLevel = LogLevel::kOff;
    return log::ConfigureLog(off);
  }();
}

}  // namespace qor

#endif
