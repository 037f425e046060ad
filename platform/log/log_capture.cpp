// SPDX-License-Identifier: Apache-2.0
#include "platform/log/log_capture.h"

#include <algorithm>

namespace qor::log {

class LogCapture::Sink : public LogSink {
 public:
  void Write(LogLevel level, std::string_view context, std::string_view text) override {
    const std::lock_guard lock(mutex_);
    lines_.push_back({level, std::string(context), std::string(text)});
  }

  std::vector<Line> Lines() const {
    const std::lock_guard lock(mutex_);
    return lines_;
  }

  void Clear() {
    const std::lock_guard lock(mutex_);
    lines_.clear();
  }

 private:
  mutable std::mutex mutex_;
  std::vector<Line> lines_;  // guarded by mutex_
};

LogCapture::LogCapture() : sink_(std::make_shared<Sink>()) { LogCore::Instance().AddSink(sink_, LogLevel::kVerbose); }

LogCapture::~LogCapture() { LogCore::Instance().RemoveSink(sink_.get()); }

std::vector<LogCapture::Line> LogCapture::Lines() const { return sink_->Lines(); }

std::size_t LogCapture::Count(LogLevel level, std::string_view text) const {
  const auto lines = sink_->Lines();
  return static_cast<std::size_t>(std::count_if(
      lines.begin(), lines.end(), [&](const Line& line) { return line.level == level && line.text == text; }));
}

std::size_t LogCapture::CountContaining(std::string_view part) const {
  const auto lines = sink_->Lines();
  return static_cast<std::size_t>(std::count_if(
      lines.begin(), lines.end(), [&](const Line& line) { return line.text.find(part) != std::string::npos; }));
}

void LogCapture::Clear() { sink_->Clear(); }

}  // namespace qor::log
