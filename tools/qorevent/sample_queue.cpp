// SPDX-License-Identifier: Apache-2.0
#include "tools/qorevent/sample_queue.h"

#include <sys/eventfd.h>
#include <unistd.h>

namespace qor::tools {

SampleQueue::SampleQueue() : eventFd_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

SampleQueue::~SampleQueue() { close(eventFd_); }

void SampleQueue::Push(const std::string& name) {
  bool isFirst = false;
  {
    const std::lock_guard lock(mutex_);
    if (names_.size() >= kLimit) {
      ++dropped_;
      return;
    }
    isFirst = names_.empty();
    names_.push_back(&name);
  }
  if (isFirst) {
    static_cast<void>(eventfd_write(eventFd_, 1));  // fails only when it is readable already
  }
}

void SampleQueue::Take(std::vector<const std::string*>& names) {
  names.clear();
  eventfd_t count = 0;
  static_cast<void>(eventfd_read(eventFd_, &count));  // before the names, so that none waits unannounced
  const std::lock_guard lock(mutex_);
  names.swap(names_);
}

std::uint64_t SampleQueue::DroppedCount() const {
  const std::lock_guard lock(mutex_);
  return dropped_;
}

}  // namespace qor::tools
