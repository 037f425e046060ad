// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_CALLBACK_GATE_H
#define QOR_SOMEIP_CALLBACK_GATE_H

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace qor::someip {

/// Lets the callbacks of an object run on the loop's thread until the object ends. One thread calls back; any thread
/// may close, also the one that is calling back.
class CallbackGate {
 public:
  /// Callbacks may run while one of these is there and true.
  class Pass {
   public:
    explicit Pass(CallbackGate* gate) : gate_(gate) {}
    ~Pass() {
      if (gate_ != nullptr) {
        gate_->Leave();
      }
    }
    Pass(const Pass&) = delete;
    Pass& operator=(const Pass&) = delete;
    explicit operator bool() const { return gate_ != nullptr; }

   private:
    CallbackGate* gate_;
  };

  Pass Enter() {
    const std::lock_guard lock(mutex_);
    if (IsClosed()) {
      return Pass(nullptr);
    }
    ++depth_;
    runner_ = std::this_thread::get_id();
    return Pass(this);
  }

  /// No callback may begin any more. To be looked at between the callbacks of one pass.
  bool IsClosed() const { return isClosed_.load(std::memory_order_relaxed); }

  /// After the return no callback runs, except the one that this is called from.
  void Close() {
    std::unique_lock lock(mutex_);
    isClosed_.store(true, std::memory_order_relaxed);
    isIdle_.wait(lock, [this] { return depth_ == 0 || runner_ == std::this_thread::get_id(); });
  }

 private:
  void Leave() {
    const std::lock_guard lock(mutex_);
    if (--depth_ == 0 && IsClosed()) {
      isIdle_.notify_all();
    }
  }

  std::atomic<bool> isClosed_{false};  // written under mutex_
  std::mutex mutex_;
  std::condition_variable isIdle_;
  int depth_ = 0;           // guarded by mutex_
  std::thread::id runner_;  // guarded by mutex_; of the last pass
};

}  // namespace qor::someip

#endif
