// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/tp_reassembler.h"

#include <algorithm>
#include <utility>

namespace qor::someip {
namespace {

constexpr std::size_t kFirstCapacity = 16U << 10U;

}  // namespace

std::optional<TpMessage> TpReassembler::Take(const Endpoint& source, const MessageHeader& header,
                                             std::span<const std::uint8_t> segment, TimePoint now) {
  if (now >= nextExpiry_) {
    Expire(now);
  }
  const MessageType type = header.WholeType();
  const Stream stream{source, header.serviceId, header.methodId, header.clientId, header.interfaceVersion, type};
  MessageHeader whole = header;
  whole.type = type;

  Slot* slot = Find(stream);
  const auto tp = DecodeTpHeader(segment);
  const auto piece = segment.subspan(std::min(segment.size(), kTpHeaderSize));
  if (!tp || (tp->hasMore && (piece.empty() || piece.size() % kTpUnit != 0))) {
    if (slot != nullptr && slot->state == State::kOpen) {
      Close(*slot, true);
    } else {
      Count(dropped_);
    }
    return std::nullopt;
  }
  const bool isSameSession = slot != nullptr && slot->sessionId == header.sessionId;

  if (tp->offset == 0) {
    const bool isRepetition = isSameSession && header.sessionId != 0 && slot->buffer.size() == piece.size();
    if (slot != nullptr && slot->state == State::kOpen && !isRepetition) {
      Count(dropped_);
    }
    if (slot == nullptr) {
      slot = Claim(true);
    }
    Begin(*slot, stream, header.sessionId, now);
    if (!tp->hasMore && piece.size() <= options_.maxMessageSize) {
      Close(*slot, false);
      return Finish(whole, piece);
    }
  } else if (!isSameSession) {  // the beginning of this message is lost
    if (slot != nullptr && slot->state == State::kOpen) {
      Count(dropped_);
    }
    if (slot == nullptr) {
      slot = Claim(false);
    }
    if (slot == nullptr) {
      Count(dropped_);
    } else {
      Begin(*slot, stream, header.sessionId, now);
      Close(*slot, true);
    }
    return std::nullopt;
  } else if (slot->state == State::kClosed ||
             (header.sessionId != 0 && tp->offset + piece.size() <= slot->buffer.size())) {
    return std::nullopt;  // a late one or a repetition; without session ids it could be another message's
  }

  if (tp->offset != slot->buffer.size() || !Append(*slot, piece)) {
    Close(*slot, true);
    return std::nullopt;
  }
  if (tp->hasMore) {
    return std::nullopt;
  }
  Close(*slot, false);
  return Finish(whole, slot->buffer);
}

void TpReassembler::Expire(TimePoint now) {
  nextExpiry_ = TimePoint::max();
  for (Slot& slot : slots_) {
    if (slot.state == State::kFree) {
      continue;
    }
    if (slot.begun + options_.timeout > now) {
      nextExpiry_ = std::min(nextExpiry_, slot.begun + options_.timeout);
      continue;
    }
    if (slot.state == State::kOpen) {
      Count(dropped_);
    }
    Free(slot);
  }
}

std::optional<TpMessage> TpReassembler::Finish(MessageHeader header, std::span<const std::uint8_t> payload) {
  Count(completed_);
  header.SetPayloadSize(payload.size());
  return TpMessage{header, payload};
}

TpReassembler::Slot* TpReassembler::Find(const Stream& stream) {
  const auto isIt = [&stream](const Slot& slot) { return slot.state != State::kFree && slot.stream == stream; };
  if (lastSlot_ < slots_.size() && isIt(slots_[lastSlot_])) {
    return &slots_[lastSlot_];
  }
  const auto found = std::ranges::find_if(slots_, isIt);
  if (found == slots_.end()) {
    return nullptr;
  }
  lastSlot_ = static_cast<std::size_t>(found - slots_.begin());
  return &*found;
}

/// A slot for a new stream. Null when only a message in the making could give way, and must not.
TpReassembler::Slot* TpReassembler::Claim(bool mayDropOpen) {
  Slot* slot = Oldest(State::kFree, nullptr);
  if (slot == nullptr && slots_.size() < std::max<std::size_t>(1, options_.maxMessages)) {
    slot = &slots_.emplace_back();
  }
  if (slot == nullptr) {
    slot = Oldest(State::kClosed, nullptr);
  }
  if (slot == nullptr && mayDropOpen) {
    slot = Oldest(State::kOpen, nullptr);
    Count(dropped_);
  }
  return slot;
}

TpReassembler::Slot* TpReassembler::Oldest(State state, const Slot* except) {
  Slot* oldest = nullptr;
  for (Slot& slot : slots_) {
    if (slot.state == state && &slot != except && (oldest == nullptr || slot.begun < oldest->begun)) {
      oldest = &slot;
    }
  }
  return oldest;
}

void TpReassembler::Begin(Slot& slot, const Stream& stream, std::uint16_t sessionId, TimePoint now) {
  slot.state = State::kOpen;
  slot.stream = stream;
  slot.sessionId = sessionId;
  slot.begun = now;
  slot.buffer.clear();
  nextExpiry_ = std::min(nextExpiry_, now + options_.timeout);
}

bool TpReassembler::Append(Slot& slot, std::span<const std::uint8_t> piece) {
  if (piece.size() > options_.maxMessageSize - slot.buffer.size()) {
    return false;
  }
  const std::size_t needed = slot.buffer.size() + piece.size();
  if (needed > slot.buffer.capacity() && !Grow(slot, needed)) {
    return false;
  }
  slot.buffer.insert(slot.buffer.end(), piece.begin(), piece.end());
  return true;
}

/// Old and new buffer exist together for a moment, and both count.
bool TpReassembler::Grow(Slot& slot, std::size_t needed) {
  const std::size_t generous = std::min(options_.maxMessageSize, std::max(kFirstCapacity, 2 * slot.buffer.capacity()));
  std::size_t capacity = std::max(needed, generous);
  while (held_ + capacity > options_.maxTotal) {
    if (!FreeOneBuffer(slot)) {
      if (held_ + needed > options_.maxTotal) {
        return false;
      }
      capacity = needed;
    }
  }
  std::vector<std::uint8_t> larger;
  larger.reserve(capacity);
  larger.insert(larger.end(), slot.buffer.begin(), slot.buffer.end());
  held_ += larger.capacity();
  held_ -= slot.buffer.capacity();
  slot.buffer = std::move(larger);
  return true;
}

/// First one that nobody needs, then the oldest message in the making.
bool TpReassembler::FreeOneBuffer(const Slot& except) {
  const auto unused = std::ranges::find_if(slots_, [&except](const Slot& slot) {
    return slot.state != State::kOpen && slot.buffer.capacity() != 0 && &slot != &except;
  });
  if (unused != slots_.end()) {
    FreeBuffer(*unused);
    return true;
  }
  Slot* const oldest = Oldest(State::kOpen, &except);
  if (oldest == nullptr) {
    return false;
  }
  Close(*oldest, true);
  FreeBuffer(*oldest);
  return true;
}

void TpReassembler::Close(Slot& slot, bool isLost) {
  slot.state = State::kClosed;
  if (isLost) {
    Count(dropped_);
  }
}

void TpReassembler::Free(Slot& slot) {
  slot.state = State::kFree;
  FreeBuffer(slot);
}

void TpReassembler::FreeBuffer(Slot& slot) {
  held_ -= slot.buffer.capacity();
  std::vector<std::uint8_t>().swap(slot.buffer);  // clear would keep the memory
}

}  // namespace qor::someip
