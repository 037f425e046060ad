// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_LOG_LOG_CORE_H
#define QOR_LOG_LOG_CORE_H

#include <atomic>
#include <memory>
#include <mutex>
#include <string_view>
#include <vector>

#include "platform/log/qor_log.h"

namespace qor::log {

/// Somewhere log lines go. Write is called by one thread at a time.
class LogSink {
 public:
  virtual ~LogSink() = default;
  virtual void Write(LogLevel level, std::string_view context, std::string_view text) = 0;
};

/// The process's log: a level and a set of sinks. Any thread.
class LogCore {
 public:
  /// The one instance of the process, at first with the sinks that the environment asks for; never destroyed, so that
  /// late lines of other statics are safe.
  static LogCore& Instance();

  LogCore() = default;

  /// Adds a sink that receives lines of `level` and above. The sink stays until removed.
  void AddSink(std::shared_ptr<LogSink> sink, LogLevel level);
  void RemoveSink(const LogSink* sink);
  void RemoveAllSinks();

  bool IsOn(LogLevel level) const noexcept { return level >= lowest_.load(std::memory_order_relaxed); }
  void Write(LogLevel level, std::string_view context, std::string_view text) noexcept;

 private:
  struct Entry {
    std::shared_ptr<LogSink> sink;  // shared: a test keeps its own capture sink alive too
    LogLevel level;
  };
  void UpdateLowestLocked();

  std::atomic<LogLevel> lowest_{LogLevel::kOff};
  std::mutex mutex_;
  std::vector<Entry> entries_;  // guarded by mutex_
};

}  // namespace qor::log

#endif
