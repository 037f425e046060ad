// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_TP_REASSEMBLER_H
#define QOR_SOMEIP_TP_REASSEMBLER_H

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/someip/endpoint.h"
#include "platform/someip/message.h"
#include "platform/someip/tp.h"

namespace qor::someip {

struct TpReassemblerOptions {
  std::size_t maxMessageSize = 16U << 20U;  ///< bytes of payload; a larger message is dropped
  std::size_t maxTotal = 64U << 20U;        ///< bytes of all buffers; the oldest unfinished message makes room
  std::size_t maxMessages = 64;             ///< messages in the making, and senders remembered, together
  std::chrono::milliseconds timeout{5000};  ///< from a message's first segment to its last
};

/// A message that became whole.
struct TpMessage {
  MessageHeader header;  ///< without the segment flag, and with the length of the whole
  std::span<const std::uint8_t> payload;
};

/// Puts segments together again. What belongs together is known by the source, service, method, client, interface
/// version and type: of each such stream one message is in the making at a time. Segments must come in order; a gap or
/// an overlap loses the message, a repetition is let pass. A segment with offset 0 begins a message, also with the
/// session id of the one before (its sender may have started anew, or not use session ids). Each message that is lost
/// is counted once, also when none of its segments but the last arrived.
///
/// Not synchronised, except for the counts, which any thread may read. Buffers are reused.
class TpReassembler {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;

  explicit TpReassembler(const TpReassemblerOptions& options) : options_(options) {}

  /// Takes a segment: its header, and its payload from the TP header on. The message when this was its last segment;
  /// its payload is valid until the next call or as long as `segment`, whichever is shorter.
  std::optional<TpMessage> Take(const Endpoint& source, const MessageHeader& header,
                                std::span<const std::uint8_t> segment, TimePoint now);
  /// Drops what is overdue. Take does so too.
  void Expire(TimePoint now);

  std::uint64_t Completed() const { return completed_.load(std::memory_order_relaxed); }
  std::uint64_t Dropped() const { return dropped_.load(std::memory_order_relaxed); }
  /// Bytes of all buffers.
  std::size_t HeldBytes() const { return held_; }

 private:
  struct Stream {
    Endpoint source;
    std::uint16_t serviceId = 0;
    std::uint16_t methodId = 0;
    std::uint16_t clientId = 0;
    std::uint8_t interfaceVersion = 0;
    MessageType type = MessageType::kRequest;

    bool operator==(const Stream&) const = default;
  };
  enum class State : std::uint8_t {
    kFree,
    kOpen,    // a message is in the making
    kClosed,  // the session is done or lost; what still comes of it is ignored
  };
  struct Slot {
    State state = State::kFree;
    Stream stream;
    std::uint16_t sessionId = 0;
    TimePoint begun;
    std::vector<std::uint8_t> buffer;
  };

  Slot* Find(const Stream& stream);
  Slot* Claim(bool mayDropOpen);
  void Begin(Slot& slot, const Stream& stream, std::uint16_t sessionId, TimePoint now);
  bool Append(Slot& slot, std::span<const std::uint8_t> piece);
  bool Grow(Slot& slot, std::size_t needed);
  bool FreeOneBuffer(const Slot& except);
  void Close(Slot& slot, bool isLost);
  void Free(Slot& slot);
  void FreeBuffer(Slot& slot);
  Slot* Oldest(State state, const Slot* except);
  std::optional<TpMessage> Finish(MessageHeader header, std::span<const std::uint8_t> payload);

  static void Count(std::atomic<std::uint64_t>& counter) {
    counter.store(counter.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
  }

  const TpReassemblerOptions options_;
  std::vector<Slot> slots_;   // at most maxMessages
  std::size_t lastSlot_ = 0;  // where the last segment went: most likely the next one goes there too
  std::size_t held_ = 0;
  TimePoint nextExpiry_ = TimePoint::max();
  std::atomic<std::uint64_t> completed_{0};
  std::atomic<std::uint64_t> dropped_{0};
};

}  // namespace qor::someip

#endif
