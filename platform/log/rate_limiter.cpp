// SPDX-License-Identifier: Apache-2.0
#include "platform/log/rate_limiter.h"

#include <utility>

namespace qor::log {

std::optional<std::uint64_t> RateLimiter::Admit(std::string_view key, std::uint64_t nowMs, std::uint32_t intervalMs) {
  const std::lock_guard lock(mutex_);
  const auto found = states_.find(key);
  if (found == states_.end()) {
    if (states_.size() >= kMaxKeys) {
      states_.clear();
    }
    states_.emplace(key, State{nowMs, 0});
    return 0;
  }
  State& state = found->second;
  if (nowMs - state.lastMs < intervalMs) {
    ++state.heldBack;
    return std::nullopt;
  }
  state.lastMs = nowMs;
  return std::exchange(state.heldBack, 0);
}

}  // namespace qor::log
