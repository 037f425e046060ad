// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_LOG_QOR_LOG_H
#define QOR_LOG_QOR_LOG_H

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

namespace qor {

enum class LogLevel : std::uint8_t { kVerbose, kDebug, kInfo, kWarn, kError, kOff };

namespace log {

/// The line being written by one statement; emitted when it goes out of scope. A stream whose level is off formats
/// nothing and allocates nothing.
class LogStream {
 public:
  LogStream(LogLevel level, std::string_view context, bool isOn) : context_(context), level_(level), isOn_(isOn) {}
  LogStream(LogStream&& other) noexcept
      : text_(std::move(other.text_)), context_(other.context_), level_(other.level_), isOn_(other.isOn_) {
    other.isOn_ = false;
  }
  LogStream(const LogStream&) = delete;
  LogStream& operator=(const LogStream&) = delete;
  LogStream& operator=(LogStream&&) = delete;
  ~LogStream() {
    if (isOn_) {
      Emit();
    }
  }

  template <class T>
  LogStream& operator<<(const T& value) {
    if (isOn_) {
      Append(value);
    }
    return *this;
  }

 private:
  template <class T>
  void Append(const T& value) {
    if constexpr (std::is_same_v<T, bool>) {
      AppendText(value ? "true" : "false");
    } else if constexpr (std::is_same_v<T, char>) {
      AppendText(std::string_view(&value, 1));
    } else if constexpr (std::is_convertible_v<const T&, std::string_view>) {
      AppendText(value);
    } else if constexpr (std::is_enum_v<T>) {
      Append(static_cast<std::underlying_type_t<T>>(value));
    } else if constexpr (std::signed_integral<T>) {
      AppendSigned(value);
    } else if constexpr (std::unsigned_integral<T>) {
      AppendUnsigned(value);
    } else {
      static_assert(std::floating_point<T>, "a log line takes texts, numbers, flags and enumerations");
      AppendDouble(static_cast<double>(value));
    }
  }
  void AppendText(std::string_view text);
  void AppendSigned(std::int64_t value);
  void AppendUnsigned(std::uint64_t value);
  void AppendDouble(double value);
  void Emit() noexcept;

  std::string text_;
  std::string_view context_;
  LogLevel level_;
  bool isOn_;
};

}  // namespace log

/// A named source of log lines; where the lines go is decided once per process (log_config.h). Cheap to construct, safe
/// to use from any thread. `context` must outlive the object: pass a literal.
///
///     log_.Warn() << "[QorCommon] IP is invalid. IP=" << ip;
class QorLog {
 public:
  explicit constexpr QorLog(std::string_view context) : context_(context) {}

  log::LogStream Verbose() const { return At(LogLevel::kVerbose); }
  log::LogStream Debug() const { return At(LogLevel::kDebug); }
  log::LogStream Info() const { return At(LogLevel::kInfo); }
  log::LogStream Warn() const { return At(LogLevel::kWarn); }
  log::LogStream Error() const { return At(LogLevel::kError); }

  /// For what a stream of messages can repeat: at most one line per key and interval; the next line that passes tells
  /// how many were held back.
  log::LogStream Warn(std::string_view key, std::uint32_t intervalMs) const {
    return Limited(LogLevel::kWarn, key, intervalMs);
  }
  log::LogStream Error(std::string_view key, std::uint32_t intervalMs) const {
    return Limited(LogLevel::kError, key, intervalMs);
  }

 private:
  log::LogStream At(LogLevel level) const;
  log::LogStream Limited(LogLevel level, std::string_view key, std::uint32_t intervalMs) const;

  std::string_view context_;
};

}  // namespace qor

#endif
