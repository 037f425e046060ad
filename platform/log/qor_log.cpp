// SPDX-License-Identifier: Apache-2.0
#include "platform/log/qor_log.h"

#include <array>
#include <charconv>
#include <chrono>

#include "platform/log/log_core.h"
#include "platform/log/rate_limiter.h"

namespace qor {
namespace {

log::RateLimiter& Limiter() {
  static auto* limiter = new log::RateLimiter;  // never destroyed: other statics may still log
  return *limiter;
}

std::uint64_t SteadyNowMs() {
  using std::chrono::duration_cast, std::chrono::milliseconds, std::chrono::steady_clock;
  return static_cast<std::uint64_t>(duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
}

template <class T>
void AppendNumber(std::string& text, T value) {
  std::array<char, 32> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
  text.append(digits.data(), end);
}

}  // namespace

namespace log {

void LogStream::AppendText(std::string_view text) { text_.append(text); }
void LogStream::AppendSigned(std::int64_t value) { AppendNumber(text_, value); }
void LogStream::AppendUnsigned(std::uint64_t value) { AppendNumber(text_, value); }
void LogStream::AppendDouble(double value) { AppendNumber(text_, value); }
void LogStream::Emit() noexcept { LogCore::Instance().Write(level_, context_, text_); }

}  // namespace log

log::LogStream QorLog::At(LogLevel level) const { return {level, context_, log::LogCore::Instance().IsOn(level)}; }

log::LogStream QorLog::Limited(LogLevel level, std::string_view key, std::uint32_t intervalMs) const {
  if (!log::LogCore::Instance().IsOn(level)) {
    return {level, context_, false};
  }
  const auto heldBack = Limiter().Admit(key, SteadyNowMs(), intervalMs);
  if (heldBack.value_or(0) > 0) {
    log::LogStream(level, context_, true) << "[" << key << "][lines held back=" << *heldBack << "]";
  }
  return {level, context_, heldBack.has_value()};
}

}  // namespace qor
