// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_LOG_LOG_CAPTURE_H
#define QOR_LOG_LOG_CAPTURE_H

#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "platform/log/log_core.h"

namespace qor::log {

/// Collects every line of the process, at every level, while it lives. For tests. Any thread.
class LogCapture {
 public:
  struct Line {
    LogLevel level;
    std::string context;
    std::string text;
  };

  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  std::vector<Line> Lines() const;
  /// How many lines of `level` have exactly this text.
  std::size_t Count(LogLevel level, std::string_view text) const;
  /// How many lines of any level contain this text.
  std::size_t CountContaining(std::string_view part) const;
  void Clear();

 private:
  class Sink;
  std::shared_ptr<Sink> sink_;  // shared with the log core
};

}  // namespace qor::log

#endif
