// SPDX-License-Identifier: Apache-2.0
#include "tools/qorevent/sample_pipe.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <utility>

namespace qor::tools {

SamplePipe::SamplePipe(std::uint64_t count) : eventFd_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), count_(count) {}

SamplePipe::~SamplePipe() { close(eventFd_); }

void SamplePipe::Push(std::string_view text) {
  bool isFirst = false;
  {
    const std::lock_guard lock(mutex_);
    if (count_ != 0 && accepted_ == count_) {
      return;
    }
    if (text_.size() >= kLimit) {
      ++dropped_;
      return;
    }
    isFirst = waiting_ == 0;
    text_ += text;
    ++waiting_;
    ++accepted_;
  }
  if (isFirst) {
    static_cast<void>(eventfd_write(eventFd_, 1));  // fails only when it is readable already
  }
}

std::uint64_t SamplePipe::Take(std::string& text) {
  text.clear();
  eventfd_t count = 0;
  static_cast<void>(eventfd_read(eventFd_, &count));  // before the text, so that none waits unannounced
  const std::lock_guard lock(mutex_);
  text.swap(text_);
  return std::exchange(waiting_, 0);
}

std::uint64_t SamplePipe::DroppedCount() const {
  const std::lock_guard lock(mutex_);
  return dropped_;
}

}  // namespace qor::tools
