// SPDX-License-Identifier: Apache-2.0
#include "platform/log/log_config.h"

#include <array>
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

class SpdlogSink : public LogSink {
 public:
  SpdlogSink(std::shared_ptr<spdlog::sinks::sink> sink, const char* pattern) : sink_(std::move(sink)) {
    sink_->set_pattern(pattern);
  }

  void Write(LogLevel level, std::string_view context, std::string_view text) override {
    const auto number = static_cast<spdlog::level::level_enum>(level);  // both count upwards from the finest level
    sink_->log({spdlog::string_view_t(context.data(), context.size()), number,
                spdlog::string_view_t(text.data(), text.size())});
    if (level >= LogLevel::kWarn) {
      sink_->flush();
    }
  }

 private:
  std::shared_ptr<spdlog::sinks::sink> sink_;  // shared: spdlog hands sinks out that way
};

bool AddFileSink(const LogOptions& options) {
  try {
    auto file = std::make_shared<spdlog::sinks::basic_file_sink_mt>(options.filePath);
    LogCore::Instance().AddSink(std::make_shared<SpdlogSink>(std::move(file), "%Y-%m-%d %H:%M:%S.%e %P %l [%n] %v"),
                                options.fileLevel);
    return true;
  } catch (const spdlog::spdlog_ex& error) {
    QorLog("Log").Error() << "Cannot open the log file '" << options.filePath << "': " << error.what();
    return false;
  }
}

}  // namespace

bool ConfigureLog(const LogOptions& options) {
  LogCore& core = LogCore::Instance();
  core.RemoveAllSinks();
  if (options.stderrLevel != LogLevel::kOff) {
    auto console = std::make_shared<spdlog::sinks::stderr_color_sink_mt>();
    if (std::getenv("NO_COLOR") != nullptr) {
      console->set_color_mode(spdlog::color_mode::never);
    }
    core.AddSink(std::make_shared<SpdlogSink>(std::move(console), "%^%l%$: %v"), options.stderrLevel);
  }
  bool isComplete = options.filePath.empty() || AddFileSink(options);
  if (options.useDlt) {
    if (auto dlt = MakeDltSink()) {
      core.AddSink(std::move(dlt), options.dltLevel);
    } else {
      QorLog("Log").Error() << "DLT logging was asked for, but this build has no DLT support or its daemon refused us";
      isComplete = false;
    }
  }
  return isComplete;
}

LogOptions LogOptionsFromEnvironment() {
  LogOptions options;
  if (const char* level = std::getenv("QOR_LOG_LEVEL"); level != nullptr) {
    options.stderrLevel = ParseLogLevel(level).value_or(options.stderrLevel);
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

std::string_view LogLevelName(LogLevel level) {
  for (const auto& [name, value] : kLevelNames) {
    if (value == level) {
      return name;
    }
  }
  return "unknown";
}

}  // namespace qor::log
