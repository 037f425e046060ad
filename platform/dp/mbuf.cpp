// SPDX-License-Identifier: Apache-2.0
#include "platform/dp/mbuf.h"

namespace qor::dp {
namespace {

void AppendBlock(std::vector<std::uint8_t>& out, std::span<const std::uint8_t> block) {
  const auto size = static_cast<std::uint32_t>(block.size());
  for (unsigned shift = 0; shift < 32; shift += 8) {
    out.push_back(static_cast<std::uint8_t>(size >> shift));
  }
  out.insert(out.end(), block.begin(), block.end());
}

std::optional<std::span<const std::uint8_t>> TakeBlock(std::span<const std::uint8_t>& rest) {
  constexpr std::size_t kWidth = 4;
  if (rest.size() < kWidth) {
    return std::nullopt;
  }
  const std::uint32_t size = rest[0] | static_cast<std::uint32_t>(rest[1]) << 8U |
                             static_cast<std::uint32_t>(rest[2]) << 16U | static_cast<std::uint32_t>(rest[3]) << 24U;
  rest = rest.subspan(kWidth);
  if (rest.size() < size) {
    return std::nullopt;
  }
  const auto block = rest.first(size);
  rest = rest.subspan(size);
  return block;
}

}  // namespace

std::vector<std::uint8_t> EncodeMbufSample(const MbufSample& sample) {
  std::vector<std::uint8_t> bytes;
  AppendBlock(bytes, sample.privateData);
  for (const OutMbufData& buffer : sample.chain) {
    AppendBlock(bytes, {buffer.data, buffer.size});
  }
  return bytes;
}

std::optional<MbufSample> DecodeMbufSample(std::span<const std::uint8_t> bytes) {
  MbufSample sample;
  const auto privateData = TakeBlock(bytes);
  if (!privateData) {
    return std::nullopt;
  }
  sample.privateData = *privateData;
  while (!bytes.empty()) {
    const auto block = TakeBlock(bytes);
    if (!block) {
      return std::nullopt;
    }
    sample.chain.push_back({block->data(), static_cast<std::uint32_t>(block->size())});
  }
  return sample;
}

}  // namespace qor::dp
