// SPDX-License-Identifier: Apache-2.0
#include "platform/log/log_config.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <utility>

#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/stdout_color_sinks.h>
#include <spdlog/spdlog.h>

#include "platform/log/dlt_sink.h"
#include "platform/log/log_core.h"

namespace qor::log {
namespace {

constexpr std::array<std::pair<std::string_view, LogLevel>, 6> kLevelNames{{{"verbose", LogLevel::kVerbose},
                                                                            {"debug", LogLevel::kDebug},
                                                                            {"info", LogLevel::kInfo},
                                                                            {"warn", LogLevel::kWarn},
                                                                            {"error", LogLevel::kError},
                                                                            {"off", LogLevel::kOff}}};

/// What is logged may hold names from the network: one line stays one line, and nothing steers the terminal.
std::string Printable(std::string_view text) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string result;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte >= 0x20 && byte != 0x7F) {
      result += character;
    } else {
      result += {'\\', 'x', kDigits[byte >> 4U], kDigits[byte & 0x0FU]};
    }
  }
  return result;
}

class SpdlogSink : public LogSink {
 public:
  SpdlogSink(std::shared_ptr<spdlog::sinks::sink> sink, const char* pattern) : sink_(std::move(sink)) {
    sink_->set_pattern(pattern);
  }

  void Write(LogLevel level, std::string_view context, std::string_view text) override {
    const auto number = static_cast<spdlog::level::level_enum>(level);  // both count upwards from the finest level
    const std::string line = Printable(text);
    try {
      sink_->log({spdlog::string_view_t(context.data(), context.size()), number, line});
      if (level >= LogLevel::kWarn) {
        sink_->flush();
      }
    } catch (const spdlog::spdlog_ex& error) {
      TellOnce(error.what());
    }
  }

 private:
  /// A full disk must not end the program, and the log is no place to tell of it.
  void TellOnce(const char* reason) {
    if (!std::exchange(isFaultTold_, true)) {
      std::fprintf(stderr, "warning: a log line could not be written, later ones may be missing too: %s\n", reason);
    }
  }

  std::shared_ptr<spdlog::sinks::sink> sink_;  // shared: spdlog hands sinks out that way
  bool isFaultTold_ = false;
};

/// Not through QorLog: the log may be on its way to being made.
void LogError(LogCore& core, const std::string& text) { core.Write(LogLevel::kError, "Log", text); }

bool AddFileSink(const LogOptions& options, LogCore& core) {
  try {
    auto file = std::make_shared<spdlog::sinks::basic_file_sink_mt>(options.filePath);
    core.AddSink(std::make_shared<SpdlogSink>(std::move(file), "%Y-%m-%d %H:%M:%S.%e %P %l [%n] %v"),
                 options.fileLevel);
    return true;
  } catch (const spdlog::spdlog_ex& error) {
    LogError(core, "Cannot open the log file '" + options.filePath + "': " + error.what());
    return false;
  }
}

}  // namespace

bool ConfigureLog(const LogOptions& options) {
  LogCore& core = LogCore::Instance();
  core.RemoveAllSinks();
  return AddSinks(options, core);
}

bool AddSinks(const LogOptions& options, LogCore& core) {
  if (options.stderrLevel != LogLevel::kOff) {
    auto console = std::make_shared<spdlog::sinks::stderr_color_sink_mt>();
    if (const char* noColor = std::getenv("NO_COLOR"); noColor != nullptr && *noColor != '\0') {
      console->set_color_mode(spdlog::color_mode::never);
    }
    core.AddSink(std::make_shared<SpdlogSink>(std::move(console), "%^%l%$: %v"), options.stderrLevel);
  }
  bool isComplete = options.filePath.empty() || AddFileSink(options, core);
  if (options.useDlt) {
    if (auto dlt = MakeDltSink()) {
      core.AddSink(std::move(dlt), options.dltLevel);
    } else {
      LogError(core, "DLT logging was asked for, but this build has no DLT support or its daemon refused us");
      isComplete = false;
    }
  }
  return isComplete;
}

LogOptions LogOptionsFromEnvironment() {
  LogOptions options;
  if (const char* level = std::getenv("QOR_LOG_LEVEL"); level != nullptr) {
    if (const auto parsed = ParseLogLevel(level)) {
      options.stderrLevel = *parsed;
    } else {
      std::fprintf(stderr, "warning: QOR_LOG_LEVEL is '%s'; it can be verbose, debug, info, warn, error or off\n",
                   level);
    }
  }
  if (const char* path = std::getenv("QOR_LOG_FILE"); path != nullptr) {
    options.filePath = path;
  }
  if (const char* dlt = std::getenv("QOR_LOG_DLT"); dlt != nullptr) {
    options.useDlt = std::string_view(dlt) == "1";
  }
  return options;
}

std::optional<LogLevel> ParseLogLevel(std::string_view text) {
  for (const auto& [name, level] : kLevelNames) {
    if (name == text) {
      return level;
    }
  }
  return std::nullopt;
}

}  // namespace qor::log
