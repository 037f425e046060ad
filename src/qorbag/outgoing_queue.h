// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_OUTGOING_QUEUE_H
#define QOR_QORBAG_OUTGOING_QUEUE_H

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include "src/qorbag/qor_buffer.h"

namespace qor::qorbag {

/// What became of samples: received = skipped + dropped + taken by the writer + waiting.
struct SampleCounts {
  std::uint64_t received = 0;
  std::uint64_t skipped = 0;  ///< not wanted: all but every n-th, and more than the limits
  std::uint64_t dropped = 0;  ///< the writer was too slow, or failed
};

/// What of one subscription waits in a queue. Made for one queue, which guards it; must outlive it.
struct OutgoingSource {
  std::string eventName;
  SampleCounts counts;
  std::vector<QorBuffer> buffers;  ///< of messages that were written, for those to come
};

/// A received sample that waits to be written.
struct OutgoingMessage {
  OutgoingSource* source = nullptr;
  std::uint64_t time = 0;  ///< milliseconds of the monotonic clock
  QorBuffer payload;
};

/// Messages on their way from the receive threads to the writer. When more bytes wait than may, the oldest messages go.
/// Payloads of written messages come back to those who receive, so that nothing is allocated once it runs evenly.
class OutgoingQueue {
 public:
  /// `bufferSize`: bytes of payload that may wait; 0: any number. `onFirstDrop` is called once, with the queue locked.
  OutgoingQueue(std::uint32_t bufferSize, std::function<void()> onFirstDrop);

  /// When the recording began, milliseconds as those of messages. Before the first.
  void SetStartTime(std::uint64_t now) { dropWarnedAt_ = now; }

  /// Any thread. `buffer` gets memory for the next payload of that source, or none.
  void Push(OutgoingMessage&& message, QorBuffer& buffer);
  /// Any thread: a sample that is not wanted, or that there was no memory for.
  void CountSkipped(OutgoingSource& source) { Count(source, &SampleCounts::skipped); }
  void CountDropped(OutgoingSource& source) { Count(source, &SampleCounts::dropped); }

  /// The writer: gives back the memory of the messages in `batch`, and takes the oldest ones that wait, about 1 MiB at
  /// most. Waits for the first one until the limit has passed; `batch` is empty then. Waits a moment for more.
  void Take(std::vector<OutgoingMessage>& batch, std::chrono::milliseconds limit);
  /// The writer: what it took and did not write, to be counted as skipped or as dropped.
  void GiveUp(std::span<const OutgoingMessage> messages, std::uint64_t SampleCounts::*fate);
  /// The writer: a message that it took and could not write after all.
  void CountUnwritten(OutgoingSource& source);
  /// The writer: what waits is not written any more, and nothing comes back.
  void Clear(std::uint64_t SampleCounts::*fate);

  /// Any thread.
  struct Waiting {
    std::uint64_t messages = 0;
    std::uint64_t bytes = 0;
  };
  Waiting GetWaiting() const;
  /// Of one source, and of all.
  SampleCounts GetCounts(const OutgoingSource& source) const;
  SampleCounts GetCounts() const;

 private:
  /// Messages in the order of their coming, in memory that is kept.
  class Ring {
   public:
    std::size_t Size() const { return size_; }
    void PushBack(OutgoingMessage&& message);
    OutgoingMessage PopFront();

   private:
    void Grow();

    std::vector<OutgoingMessage> slots_;  ///< a power of two of them
    std::size_t first_ = 0;
    std::size_t size_ = 0;
  };

  /// What the writer waits for.
  enum class Need : std::uint8_t { kNone, kMessage, kBatch };

  bool HasBatchLocked() const;
  void Count(OutgoingSource& source, std::uint64_t SampleCounts::*fate);
  void DropOldestLocked(std::uint64_t time, std::vector<QorBuffer>& tooMany);
  void RecycleLocked(OutgoingMessage&& message, std::vector<QorBuffer>& tooMany);

  const std::uint32_t bufferSize_;
  const std::function<void()> onFirstDrop_;
  mutable std::mutex mutex_;  ///< guards what follows
  std::condition_variable filled_;
  Ring ring_;
  std::uint64_t bytes_ = 0;
  std::uint64_t recycledBytes_ = 0;
  SampleCounts counts_;
  std::uint64_t dropWarnedAt_ = 0;  ///< or when the recording began
  Need need_ = Need::kNone;
};

}  // namespace qor::qorbag

#endif
