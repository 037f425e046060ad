// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/payload_sizes.h"

#include <algorithm>
#include <bit>

#include "src/qorbag/bag_format.h"

namespace qor::qorbag {
namespace {

constexpr std::uint64_t kBits = 64;

}  // namespace

void PayloadSizes::Begin(std::uint64_t chunkSize) {
  for (const std::uint64_t offset : offsets_) {
    if (IsMarked()) {
      marks_[offset / kBits] = 0;
    }
  }
  offsets_.clear();
  chunkSize_ = chunkSize;
  if (IsMarked() && marks_.size() * kBits < chunkSize) {
    marks_.resize(chunkSize / kBits + 1);
  }
}

bool PayloadSizes::Add(std::uint64_t offset) {
  if (chunkSize_ < kMessagePayloadAt || offset > chunkSize_ - kMessagePayloadAt) {
    return false;
  }
  if (IsMarked()) {
    std::uint64_t& word = marks_[offset / kBits];
    const std::uint64_t bit = std::uint64_t{1} << (offset % kBits);
    if ((word & bit) != 0) {
      return false;
    }
    word |= bit;
  }
  offsets_.push_back(offset);
  return true;
}

bool PayloadSizes::End() {
  if (!IsMarked()) {
    std::ranges::sort(offsets_);
    if (std::ranges::adjacent_find(offsets_) != offsets_.end()) {
      return false;
    }
  }
  bool hasFirst = offsets_.empty();
  for (const std::uint64_t offset : offsets_) {
    hasFirst = hasFirst || offset == 0;
    const std::uint64_t size = NextAfter(offset) - offset;
    if (size < kMessagePayloadAt || size - kMessagePayloadAt > UINT32_MAX) {
      return false;
    }
  }
  return hasFirst;
}

std::uint32_t PayloadSizes::SizeAt(std::uint64_t offset) const {
  return static_cast<std::uint32_t>(NextAfter(offset) - offset - kMessagePayloadAt);
}

std::uint64_t PayloadSizes::NextAfter(std::uint64_t offset) const {
  if (!IsMarked()) {
    const auto next = std::ranges::upper_bound(offsets_, offset);
    return next != offsets_.end() ? *next : chunkSize_;
  }
  std::uint64_t at = (offset + 1) / kBits;
  std::uint64_t word =
      (offset + 1) % kBits == 0 && at >= marks_.size() ? 0 : marks_[at] & (~std::uint64_t{0} << ((offset + 1) % kBits));
  const std::uint64_t end = (chunkSize_ + kBits - 1) / kBits;
  while (word == 0 && ++at < end) {
    word = marks_[at];
  }
  return word != 0 ? at * kBits + static_cast<std::uint64_t>(std::countr_zero(word)) : chunkSize_;
}

}  // namespace qor::qorbag
