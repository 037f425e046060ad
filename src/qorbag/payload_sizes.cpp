// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/payload_sizes.h"

#include <algorithm>
#include <bit>

#include "src/qorbag/bag_format.h"

namespace qor::qorbag {
namespace {

constexpr std::uint64_t kBits = 64;

/// Sets the size of an entry whose record ends at `end`.
bool SetSize(MessageIndex& entry, std::uint64_t end) {
  const std::uint64_t size = end - entry.msgPos;
  entry.size = static_cast<std::uint32_t>(size - kMessagePayloadAt);
  return size >= kMessagePayloadAt;
}

}  // namespace

bool PayloadSizes::Set(std::span<MessageIndex> entries, std::uint64_t begin, std::uint32_t chunkSize) {
  constexpr std::uint64_t kShort = 2048;
  constexpr std::uint64_t kMostMarked = std::uint64_t{64} << 20U;
  if (entries.empty()) {
    return true;
  }
  // Many short records are faster marked than sorted; few in a chunk that claims to be large are not.
  const bool areShort = chunkSize <= kMostMarked && chunkSize / kShort <= entries.size();
  return areShort ? SetByMarks(entries, begin, chunkSize) : SetByOrder(entries, begin, chunkSize);
}

bool PayloadSizes::SetByMarks(std::span<MessageIndex> entries, std::uint64_t begin, std::uint32_t chunkSize) {
  marks_.assign(chunkSize / kBits + 1, 0);
  marks_[chunkSize / kBits] |= std::uint64_t{1} << (chunkSize % kBits);  // nothing is sought behind the end
  for (const MessageIndex& entry : entries) {
    const std::uint64_t offset = entry.msgPos - begin;
    const std::uint64_t bit = std::uint64_t{1} << (offset % kBits);
    std::uint64_t& word = marks_[offset / kBits];
    if ((word & bit) != 0) {
      return false;
    }
    word |= bit;
  }
  const auto nextAfter = [this](std::uint64_t offset) {
    std::uint64_t at = (offset + 1) / kBits;
    std::uint64_t word = marks_[at] & (~std::uint64_t{0} << ((offset + 1) % kBits));
    while (word == 0) {
      word = marks_[++at];
    }
    return at * kBits + static_cast<std::uint64_t>(std::countr_zero(word));
  };
  return (marks_.front() & 1U) != 0 && std::ranges::all_of(entries, [&](MessageIndex& entry) {
           return SetSize(entry, begin + nextAfter(entry.msgPos - begin));
         });
}

bool PayloadSizes::SetByOrder(std::span<MessageIndex> entries, std::uint64_t begin, std::uint32_t chunkSize) {
  order_.clear();
  for (MessageIndex& entry : entries) {
    order_.push_back(&entry);
  }
  std::ranges::sort(order_, {}, &MessageIndex::msgPos);
  for (std::size_t i = 0; i < order_.size(); ++i) {
    if (!SetSize(*order_[i], i + 1 < order_.size() ? order_[i + 1]->msgPos : begin + chunkSize)) {
      return false;
    }
  }
  return order_.front()->msgPos == begin;
}

}  // namespace qor::qorbag
