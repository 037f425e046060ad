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
  EncodeMbufSample(sample, bytes);
  return bytes;
}

void EncodeMbufSample(const MbufSample& sample, std::vector<std::uint8_t>& bytes) {
  bytes.clear();
  AppendBlock(bytes, sample.privateData);
  for (const OutMbufData& buffer : sample.chain) {
    AppendBlock(bytes, {buffer.data, buffer.size});
  }
}

std::optional<MbufSample> DecodeMbufSample(std::span<const std::uint8_t> bytes) {
  MbufSample sample;
  if (!DecodeMbufSample(bytes, sample)) {
    return std::nullopt;
  }
  return sample;
}

bool DecodeMbufSample(std::span<const std::uint8_t> bytes, MbufSample& sample) {
  sample.chain.clear();
  const auto privateData = TakeBlock(bytes);
  if (!privateData) {
    return false;
  }
  sample.privateData = *privateData;
  while (!bytes.empty()) {
    const auto block = TakeBlock(bytes);
    if (!block) {
      return false;
    }
    sample.chain.push_back({block->data(), static_cast<std::uint32_t>(block->size())});
  }
  return true;
}

}  // namespace qor::dp
