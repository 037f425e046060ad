// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_LOG_RATE_LIMITER_H
#define QOR_LOG_RATE_LIMITER_H

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace qor::log {

/// Decides which of the lines of one key pass. Any thread. Forgets everything when more than kMaxKeys keys are known,
/// so that keys built from hostile input cannot grow it without bound.
class RateLimiter {
 public:
  static constexpr std::size_t kMaxKeys = 4096;

  /// Nothing when the line is to be held back; otherwise how many lines of the key were held back since the last one.
  std::optional<std::uint64_t> Admit(std::string_view key, std::uint64_t nowMs, std::uint32_t intervalMs);

 private:
  struct State {
    std::uint64_t lastMs;
    std::uint64_t heldBack;
  };

  std::mutex mutex_;
  std::map<std::string, State, std::less<>> states_;  // guarded by mutex_
};

}  // namespace qor::log

#endif
