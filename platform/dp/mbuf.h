// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DP_MBUF_H
#define QOR_DP_MBUF_H

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace qor {

/// One buffer of an mbuf chain, as a view.
struct OutMbufData {
  const std::uint8_t* data = nullptr;
  std::uint32_t size = 0;
};

namespace dp {

/// The parts of an mbuf sample as it travels over shared memory: a 32-bit little-endian length of the private data, the
/// private data, then for each buffer of the chain a 32-bit little-endian length and its bytes.
struct MbufSample {
  std::span<const std::uint8_t> privateData;
  std::vector<OutMbufData> chain;
};

std::vector<std::uint8_t> EncodeMbufSample(const MbufSample& sample);
/// The same into a vector that keeps its memory from one sample to the next.
void EncodeMbufSample(const MbufSample& sample, std::vector<std::uint8_t>& bytes);

/// Views into `bytes`; nothing when a length exceeds what is there.
std::optional<MbufSample> DecodeMbufSample(std::span<const std::uint8_t> bytes);
/// The same into a sample that keeps its memory; when false, what it holds is of no use.
[[nodiscard]] bool DecodeMbufSample(std::span<const std::uint8_t> bytes, MbufSample& sample);

}  // namespace dp

}  // namespace qor

#endif
