// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_SD_BIG_ENDIAN_H
#define QOR_SOMEIP_SD_BIG_ENDIAN_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace qor::someip::sd {

/// `bytes` has at least `Width` bytes from `at` on.
template <std::size_t Width>
std::uint32_t GetBigEndian(std::span<const std::uint8_t> bytes, std::size_t at) {
  static_assert(Width <= 4);
  std::uint32_t value = 0;
  for (const std::uint8_t byte : bytes.subspan(at, Width)) {
    value = value << 8U | byte;
  }
  return value;
}

/// Appends the lowest `Width` bytes of the value.
template <std::size_t Width>
void PutBigEndian(std::vector<std::uint8_t>& bytes, std::uint32_t value) {
  static_assert(Width <= 4);
  for (std::size_t i = Width; i > 0; --i) {
    bytes.push_back(static_cast<std::uint8_t>(value >> (8 * (i - 1))));
  }
}

}  // namespace qor::someip::sd

#endif
