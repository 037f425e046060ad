// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_BIG_ENDIAN_H
#define QOR_SOMEIP_BIG_ENDIAN_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>
#include <vector>

/// Numbers of 1 to 4 bytes in the byte order of the wire.
namespace qor::someip {

/// The smallest type that holds `Width` bytes.
template <std::size_t Width>
requires(Width >= 1 && Width <= 4) using UintOf =
    std::conditional_t<Width == 1, std::uint8_t, std::conditional_t<Width == 2, std::uint16_t, std::uint32_t>>;

/// `bytes` has at least `Width` bytes from `at` on.
template <std::size_t Width>
UintOf<Width> GetBigEndian(std::span<const std::uint8_t> bytes, std::size_t at) {
  std::uint32_t value = 0;
  for (const std::uint8_t byte : bytes.subspan(at, Width)) {
    value = value << 8U | byte;
  }
  return static_cast<UintOf<Width>>(value);
}

/// Writes the lowest `Width` bytes of the value; `bytes` has as many from `at` on.
template <std::size_t Width>
void SetBigEndian(std::span<std::uint8_t> bytes, std::size_t at, std::uint32_t value) {
  for (std::size_t i = 0; i < Width; ++i) {
    bytes[at + i] = static_cast<std::uint8_t>(value >> (8 * (Width - 1 - i)));
  }
}

/// Appends the lowest `Width` bytes of the value.
template <std::size_t Width>
void AppendBigEndian(std::vector<std::uint8_t>& bytes, std::uint32_t value) {
  bytes.resize(bytes.size() + Width);
  SetBigEndian<Width>(bytes, bytes.size() - Width, value);
}

}  // namespace qor::someip

#endif
