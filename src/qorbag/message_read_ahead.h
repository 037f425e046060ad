// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_MESSAGE_READ_AHEAD_H
#define QOR_QORBAG_MESSAGE_READ_AHEAD_H

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <span>
#include <thread>
#include <vector>

#include "src/qorbag/qor_buffer.h"
#include "src/qorbag/qor_view.h"

namespace qor::qorbag {

/// Reads the messages of a view on a thread of its own, some 32 MiB before they are asked for: no slow disk and no
/// decompression makes a message late. Used by one thread. The view and its bags outlive it, and nobody else reads
/// messages of them meanwhile.
class MessageReadAhead {
 public:
  struct Message {
    const Connection* connection = nullptr;
    std::uint64_t time = 0;  ///< milliseconds
    std::uint32_t bagVersion = 0;
    int result = 0;  ///< of QorMsgEntity::WriteMsg
    std::span<const std::uint8_t> payload;
  };

  explicit MessageReadAhead(const QorView& view);
  ~MessageReadAhead();
  MessageReadAhead(const MessageReadAhead&) = delete;
  MessageReadAhead& operator=(const MessageReadAhead&) = delete;

  /// Waits until there is a message; false: there are no more.
  bool WaitForMessage();
  /// The oldest that was not taken, valid until the next wait. Only when there is one.
  const Message& Take();

 private:
  struct Entry {
    Message message;             ///< its payload is set when it is taken: the memory may move before
    std::size_t payloadEnd = 0;  ///< behind which that of the next one begins
  };
  /// Messages that go from thread to thread together.
  struct Block {
    std::vector<Entry> entries;
    QorBuffer payloads;

    std::size_t Bytes() const { return payloads.GetSize() + entries.size() * sizeof(Entry); }
  };

  void ReadAll(QorView::Iterator at);
  Block TakeSpare();
  static void Fill(Block& block, QorView::Iterator& at);
  /// False: it is over.
  bool Hand(Block&& block);

  Block current_;  // of the thread that takes, as is the next
  std::size_t taken_ = 0;
  std::size_t payloadAt_ = 0;  ///< of the next message in it

  std::mutex mutex_;  ///< guards what follows
  std::condition_variable changed_;
  std::deque<Block> ready_;
  std::vector<Block> spare_;  ///< their memory is used again
  std::size_t readyBytes_ = 0;
  bool isAllRead_ = false;
  bool isOver_ = false;

  std::thread reader_;
};

}  // namespace qor::qorbag

#endif
