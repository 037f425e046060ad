// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_EVENT_QUOTA_H
#define QOR_QORBAG_EVENT_QUOTA_H

#include <atomic>
#include <cstdint>

namespace qor::qorbag {

/// Which samples of one event name are recorded. An event with two bindings has two receive threads; any thread.
class EventQuota {
 public:
  /// See RecorderOptions.
  EventQuota(std::uint32_t skipFrame, std::uint32_t limit) : skipFrame_(skipFrame), limit_(limit) {}

  /// Counts a sample. True when it is one of those to be kept: the first of each `skipFrame`.
  bool CheckSkipFrame() {
    return skipFrame_ == 0 || samples_.fetch_add(1, std::memory_order_relaxed) % skipFrame_ == 0;
  }

  enum class Take : std::uint8_t { kTaken, kLast, kNone };
  /// Takes one of the messages that may be recorded; kNone when there was none left.
  Take TakeOne() {
    if (limit_ == 0) {
      return Take::kTaken;
    }
    const std::uint64_t taken = taken_.fetch_add(1) + 1;
    if (taken > limit_) {
      return Take::kNone;
    }
    return taken == limit_ ? Take::kLast : Take::kTaken;
  }
  bool IsExhausted() const { return limit_ != 0 && taken_.load() >= limit_; }

 private:
  const std::uint32_t skipFrame_;
  const std::uint32_t limit_;
  std::atomic<std::uint64_t> samples_{0};
  std::atomic<std::uint64_t> taken_{0};
};

}  // namespace qor::qorbag

#endif
