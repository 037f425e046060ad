// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_LOG_LOG_CONFIG_H
#define QOR_LOG_LOG_CONFIG_H

#include <optional>
#include <string>
#include <string_view>

#include "platform/log/qor_log.h"

namespace qor::log {

class LogCore;

/// Where the lines of this process go. By default warnings and errors, on stderr.
struct LogOptions {
  LogLevel stderrLevel = LogLevel::kWarn;  ///< kOff for none
  std::string filePath;                    ///< appended to; empty: no file
  LogLevel fileLevel = LogLevel::kVerbose;
  bool useDlt = false;  ///< also to the DLT daemon (AUTOSAR Diagnostic Log and Trace), application ID "QOR"
  LogLevel dltLevel = LogLevel::kInfo;
};

/// Replaces the sinks of the process, which begins with those of LogOptionsFromEnvironment. False when the file cannot
/// be opened or DLT is not available; a line on stderr says why, and the other sinks work. Any thread; lines that
/// others log meanwhile may be missing.
bool ConfigureLog(const LogOptions& options);

/// Adds what the options ask for; the result is that of ConfigureLog.
bool AddSinks(const LogOptions& options, LogCore& core);

/// The defaults, changed by the environment: QOR_LOG_LEVEL (verbose, debug, info, warn, error, off; for stderr),
/// QOR_LOG_FILE (a path) and QOR_LOG_DLT (1).
LogOptions LogOptionsFromEnvironment();

std::optional<LogLevel> ParseLogLevel(std::string_view text);

}  // namespace qor::log

#endif
