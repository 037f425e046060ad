// SPDX-License-Identifier: Apache-2.0
#include "platform/log/dlt_sink.h"

#ifdef QOR_HAVE_DLT

#include <string>

#include <dlt/dlt.h>

namespace qor::log {
namespace {

DltLogLevelType ToDlt(LogLevel level) {
  switch (level) {
    case LogLevel::kVerbose:
      return DLT_LOG_VERBOSE;
    case LogLevel::kDebug:
      return DLT_LOG_DEBUG;
    case LogLevel::kInfo:
      return DLT_LOG_INFO;
    case LogLevel::kWarn:
      return DLT_LOG_WARN;
    case LogLevel::kError:
      return DLT_LOG_ERROR;
    case LogLevel::kOff:
      break;
  }
  return DLT_LOG_OFF;
}

class DltSink : public LogSink {
 public:
  DltSink() = default;
  DltSink(const DltSink&) = delete;
  DltSink& operator=(const DltSink&) = delete;
  ~DltSink() override {
    dlt_unregister_context(&context_);
    dlt_unregister_app();
  }

  bool Register() {
    return dlt_register_app("QOR", "qor tools") >= DLT_RETURN_OK &&
           dlt_register_context(&context_, "QOR", "qor tools") >= DLT_RETURN_OK;
  }

  void Write(LogLevel level, std::string_view context, std::string_view text) override {
    const std::string line = "[" + std::string(context) + "] " + std::string(text);
    dlt_log_string(&context_, ToDlt(level), line.c_str());
  }

 private:
  DltContext context_{};
};

}  // namespace

std::shared_ptr<LogSink> MakeDltSink() {
  auto sink = std::make_shared<DltSink>();
  return sink->Register() ? sink : nullptr;
}

}  // namespace qor::log

#else

namespace qor::log {

std::shared_ptr<LogSink> MakeDltSink() { return nullptr; }

}  // namespace qor::log

#endif
