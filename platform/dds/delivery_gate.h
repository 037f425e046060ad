// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DDS_DELIVERY_GATE_H
#define QOR_DDS_DELIVERY_GATE_H

#include <atomic>
#include <condition_variable>
#include <mutex>

namespace qor::dds {

/// Lets one thread at a time deliver, without a lock held meanwhile, and shuts for good. A signal that comes while a
/// thread delivers makes that thread look again; one that comes after Close does nothing. Any thread.
class DeliveryGate {
 public:
  /// Calls `deliver` until no signal is left, or leaves that to the thread that is at it. `deliver` takes everything
  /// that is there, and should stop early when IsClosed().
  template <class Deliver>
  void Signal(Deliver&& deliver) {
    if (!Enter()) {
      return;
    }
    do {
      deliver();
    } while (!Leave());
  }

  bool IsClosed() const { return isClosed_.load(std::memory_order_relaxed); }

  /// After the return nobody delivers. Waits for a delivery that is running, so it must not be called from one.
  void Close() {
    std::unique_lock lock(mutex_);
    isClosed_.store(true, std::memory_order_relaxed);
    isIdle_.wait(lock, [this] { return !isDelivering_; });
  }

 private:
  bool Enter() {
    const std::lock_guard lock(mutex_);
    if (IsClosed() || isDelivering_) {
      mustLookAgain_ = true;
      return false;
    }
    isDelivering_ = true;
    mustLookAgain_ = false;
    return true;
  }

  bool Leave() {
    const std::lock_guard lock(mutex_);
    if (mustLookAgain_ && !IsClosed()) {
      mustLookAgain_ = false;
      return false;
    }
    isDelivering_ = false;
    isIdle_.notify_all();
    return true;
  }

  std::atomic<bool> isClosed_{false};  // written under mutex_
  std::mutex mutex_;
  std::condition_variable isIdle_;
  bool isDelivering_ = false;   // guarded by mutex_
  bool mustLookAgain_ = false;  // guarded by mutex_
};

}  // namespace qor::dds

#endif
