// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_QOREVENT_SAMPLE_QUEUE_H
#define QOR_TOOLS_QOREVENT_SAMPLE_QUEUE_H

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

namespace qor::tools {

/// Carries the names of received samples from the receive threads to the one that prints. When the printer does not
/// keep up, the newest are dropped and counted.
class SampleQueue {
 public:
  static constexpr std::size_t kLimit = 65536;

  SampleQueue();
  ~SampleQueue();
  SampleQueue(const SampleQueue&) = delete;
  SampleQueue& operator=(const SampleQueue&) = delete;

  /// Any thread; does not block. The name must outlive the queue.
  void Push(const std::string& name);

  /// Readable while names wait.
  int Descriptor() const { return eventFd_; }
  /// Moves everything that waits to `names`, which it clears first.
  void Take(std::vector<const std::string*>& names);
  std::uint64_t DroppedCount() const;

 private:
  const int eventFd_;
  mutable std::mutex mutex_;
  std::vector<const std::string*> names_;  // guarded by mutex_
  std::uint64_t dropped_ = 0;              // guarded by mutex_
};

}  // namespace qor::tools

#endif
