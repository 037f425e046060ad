// SPDX-License-Identifier: Apache-2.0
#include "platform/log/log_core.h"

#include <algorithm>

#include "platform/log/log_config.h"

namespace qor::log {

LogCore& LogCore::Instance() {
  static auto* instance = [] {
    auto* core = new LogCore;
    AddSinks(LogOptionsFromEnvironment(), *core);
    return core;
  }();
  return *instance;
}

void LogCore::AddSink(std::shared_ptr<LogSink> sink, LogLevel level) {
  const std::lock_guard lock(mutex_);
  entries_.push_back({std::move(sink), level});
  UpdateLowestLocked();
}

void LogCore::RemoveSink(const LogSink* sink) {
  const std::lock_guard lock(mutex_);
  std::erase_if(entries_, [sink](const Entry& entry) { return entry.sink.get() == sink; });
  UpdateLowestLocked();
}

void LogCore::RemoveAllSinks() {
  const std::lock_guard lock(mutex_);
  entries_.clear();
  UpdateLowestLocked();
}

void LogCore::Write(LogLevel level, std::string_view context, std::string_view text) noexcept {
  const std::lock_guard lock(mutex_);
  for (const Entry& entry : entries_) {
    if (level >= entry.level) {
      entry.sink->Write(level, context, text);
    }
  }
}

void LogCore::UpdateLowestLocked() {
  LogLevel lowest = LogLevel::kOff;
  for (const Entry& entry : entries_) {
    lowest = std::min(lowest, entry.level);
  }
  lowest_.store(lowest, std::memory_order_relaxed);
}

}  // namespace qor::log
