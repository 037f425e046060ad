// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/outgoing_queue.h"

#include <algorithm>
#include <utility>

#include "platform/log/qor_log.h"

namespace qor::qorbag {
namespace {

constexpr QorLog kLog("QorRecorder");

constexpr std::size_t kBatchBytes = std::size_t{1} << 20U;
constexpr std::size_t kBatchMessages = 4096;
constexpr std::chrono::milliseconds kGather{10};  // waking the writer for each message costs more than writing it
constexpr std::uint64_t kMostRecycledBytes = std::uint64_t{32} << 20U;  // of all sources

}  // namespace

void OutgoingQueue::Ring::PushBack(OutgoingMessage&& message) {
  if (size_ == slots_.size()) {
    Grow();
  }
  slots_[(first_ + size_) & (slots_.size() - 1)] = std::move(message);
  ++size_;
}

OutgoingMessage OutgoingQueue::Ring::PopFront() {
  OutgoingMessage message = std::move(slots_[first_]);
  first_ = (first_ + 1) & (slots_.size() - 1);
  --size_;
  return message;
}

void OutgoingQueue::Ring::Grow() {
  constexpr std::size_t kFirst = 1024;
  std::vector<OutgoingMessage> slots(std::max(kFirst, 2 * slots_.size()));
  for (std::size_t i = 0; i < size_; ++i) {
    slots[i] = std::move(slots_[(first_ + i) & (slots_.size() - 1)]);
  }
  slots_ = std::move(slots);
  first_ = 0;
}

OutgoingQueue::OutgoingQueue(std::uint32_t bufferSize, std::function<void()> onFirstDrop)
    : bufferSize_(bufferSize), onFirstDrop_(std::move(onFirstDrop)) {}

void OutgoingQueue::Push(OutgoingMessage&& message, QorBuffer& buffer) {
  OutgoingSource& source = *message.source;
  const std::uint64_t time = message.time;
  std::vector<QorBuffer> tooMany;  // freed without the lock
  bool isWaited = false;
  {
    const std::lock_guard lock(mutex_);
    kLog.Verbose() << "Receive event: " << source.eventName << " time: " << time;
    const std::size_t size = message.payload.GetSize();
    ring_.PushBack(std::move(message));  // before it is counted: there may be no memory
    ++source.counts.received;
    ++counts_.received;
    bytes_ += size;
    while (bufferSize_ != 0 && bytes_ > bufferSize_) {
      DropOldestLocked(time, tooMany);
    }
    if (!source.buffers.empty()) {
      buffer = std::move(source.buffers.back());
      source.buffers.pop_back();
      recycledBytes_ -= buffer.Capacity();
    }
    isWaited = (need_ == Need::kMessage && ring_.Size() != 0) || (need_ == Need::kBatch && HasBatchLocked());
    need_ = isWaited ? Need::kNone : need_;
  }
  if (isWaited) {
    filled_.notify_one();
  }
}

/// `time`: of the message for which there was no room.
void OutgoingQueue::DropOldestLocked(std::uint64_t time, std::vector<QorBuffer>& tooMany) {
  constexpr std::uint64_t kWarnEvery = 10;
  constexpr std::uint64_t kWarnAfterMs = 5000;
  OutgoingMessage oldest = ring_.PopFront();
  bytes_ -= oldest.payload.GetSize();
  if (counts_.dropped == 0) {
    kLog.Warn() << "Recorder drop msg out of buffer.";
    onFirstDrop_();
  }
  ++counts_.dropped;
  ++oldest.source->counts.dropped;
  (counts_.dropped % kWarnEvery == 0 ? kLog.Warn() : kLog.Verbose())
      << "Recorder drop msg out of buffer.[num=" << counts_.dropped << "]";
  if (time > dropWarnedAt_ + kWarnAfterMs) {
    kLog.Warn() << "Recorder drop the oldest msg.";
    dropWarnedAt_ = time;
  }
  RecycleLocked(std::move(oldest), tooMany);
}

void OutgoingQueue::RecycleLocked(OutgoingMessage&& message, std::vector<QorBuffer>& tooMany) {
  std::vector<QorBuffer>& buffers =
      recycledBytes_ + message.payload.Capacity() <= kMostRecycledBytes ? message.source->buffers : tooMany;
  recycledBytes_ += &buffers == &tooMany ? 0 : message.payload.Capacity();
  buffers.push_back(std::move(message.payload));
}

void OutgoingQueue::Count(OutgoingSource& source, std::uint64_t SampleCounts::*fate) {
  const std::lock_guard lock(mutex_);
  for (SampleCounts* const counts : {&counts_, &source.counts}) {
    ++counts->received;
    ++(counts->*fate);
  }
}

void OutgoingQueue::Take(std::vector<OutgoingMessage>& batch, std::chrono::milliseconds limit) {
  std::vector<QorBuffer> tooMany;  // freed without the lock
  std::unique_lock lock(mutex_);
  for (OutgoingMessage& message : batch) {
    RecycleLocked(std::move(message), tooMany);
  }
  batch.clear();
  if (ring_.Size() == 0) {
    need_ = Need::kMessage;
    filled_.wait_for(lock, limit, [this] { return ring_.Size() != 0; });
  }
  if (ring_.Size() != 0 && !HasBatchLocked()) {
    need_ = Need::kBatch;
    filled_.wait_for(lock, std::min(limit, kGather), [this] { return HasBatchLocked(); });
  }
  need_ = Need::kNone;
  std::size_t bytes = 0;
  while (ring_.Size() != 0 && bytes < kBatchBytes && batch.size() < kBatchMessages) {
    batch.push_back(ring_.PopFront());
    bytes += batch.back().payload.GetSize();
  }
  bytes_ -= bytes;
}

/// With a small buffer, half of it is enough: nothing must be dropped while the writer waits.
bool OutgoingQueue::HasBatchLocked() const {
  const std::uint64_t enough = bufferSize_ == 0 ? kBatchBytes : std::min<std::uint64_t>(kBatchBytes, bufferSize_ / 2);
  return bytes_ >= enough || ring_.Size() >= kBatchMessages;
}

void OutgoingQueue::GiveUp(std::span<const OutgoingMessage> messages, std::uint64_t SampleCounts::*fate) {
  const std::lock_guard lock(mutex_);
  for (const OutgoingMessage& message : messages) {
    ++(counts_.*fate);
    ++(message.source->counts.*fate);
  }
}

void OutgoingQueue::CountUnwritten(OutgoingSource& source) {
  const std::lock_guard lock(mutex_);
  ++counts_.dropped;
  ++source.counts.dropped;
}

void OutgoingQueue::Clear(std::uint64_t SampleCounts::*fate) {
  std::vector<OutgoingMessage> batch;
  for (Take(batch, {}); !batch.empty(); Take(batch, {})) {
    GiveUp(batch, fate);
  }
}

OutgoingQueue::Waiting OutgoingQueue::GetWaiting() const {
  const std::lock_guard lock(mutex_);
  return {ring_.Size(), bytes_};
}

SampleCounts OutgoingQueue::GetCounts(const OutgoingSource& source) const {
  const std::lock_guard lock(mutex_);
  return source.counts;
}

SampleCounts OutgoingQueue::GetCounts() const {
  const std::lock_guard lock(mutex_);
  return counts_;
}

}  // namespace qor::qorbag
