// SPDX-License-Identifier: Apache-2.0
#ifndef ARA_CORE_FUTURE_H
#define ARA_CORE_FUTURE_H

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include "platform/ara/core/result.h"

namespace ara::core {

enum class FutureStatus { kReady, kTimeout };

namespace internal {

/// What a promise and its future share. Any thread.
template <class T>
struct FutureState {
  std::mutex mutex;
  std::condition_variable ready;
  std::optional<Result<T>> result;  // guarded by mutex
};

}  // namespace internal

/// The receiving end of one asynchronous answer. One owner; wait from any one thread at a time.
template <class T>
class Future {
 public:
  Future() = default;
  explicit Future(std::shared_ptr<internal::FutureState<T>> state) : state_(std::move(state)) {}

  bool valid() const noexcept { return state_ != nullptr; }

  template <class Rep, class Period>
  FutureStatus wait_for(const std::chrono::duration<Rep, Period>& limit) const {
    std::unique_lock lock(state_->mutex);
    const bool isReady = state_->ready.wait_for(lock, limit, [this] { return state_->result.has_value(); });
    return isReady ? FutureStatus::kReady : FutureStatus::kTimeout;
  }

  /// Blocks until the answer is there, takes it, and leaves the future invalid.
  Result<T> GetResult() {
    std::unique_lock lock(state_->mutex);
    state_->ready.wait(lock, [this] { return state_->result.has_value(); });
    Result<T> result = std::move(*state_->result);
    lock.unlock();
    state_.reset();
    return result;
  }

 private:
  std::shared_ptr<internal::FutureState<T>> state_;  // shared: either end may go first
};

/// The sending end. The first result wins; a promise destroyed without one answers with an error.
template <class T>
class Promise {
 public:
  static constexpr std::int32_t kBrokenPromise = 1;

  Promise() : state_(std::make_shared<internal::FutureState<T>>()) {}
  Promise(Promise&&) noexcept = default;
  Promise& operator=(Promise&& other) noexcept {
    if (this != &other) {
      Abandon();
      state_ = std::move(other.state_);
    }
    return *this;
  }
  Promise(const Promise&) = delete;
  Promise& operator=(const Promise&) = delete;
  ~Promise() { Abandon(); }

  Future<T> get_future() { return Future<T>(state_); }

  void SetResult(Result<T> result) {
    {
      const std::lock_guard lock(state_->mutex);
      if (state_->result.has_value()) {
        return;
      }
      state_->result.emplace(std::move(result));
    }
    state_->ready.notify_all();
  }
  void SetError(ErrorCode error) { SetResult(Result<T>(std::move(error))); }

 private:
  void Abandon() {
    if (state_ != nullptr) {
      SetError(ErrorCode(kBrokenPromise, "the answer was abandoned"));
    }
  }

  std::shared_ptr<internal::FutureState<T>> state_;  // shared: either end may go first
};

}  // namespace ara::core

#endif
