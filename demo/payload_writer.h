// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DEMO_PAYLOAD_WRITER_H
#define QOR_DEMO_PAYLOAD_WRITER_H

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <type_traits>
#include <vector>

namespace qor::demo {

/// Writes a payload in the shared-memory form (little-endian) or, for numbers, in that of SOME/IP (big-endian); nothing
/// is aligned. A text is its length in bytes as 32 bits and the bytes; a vector its element count as 32 bits and the
/// elements; a map its entry count as 32 bits and key and value in turn; an array its elements alone; a structure its
/// members; an enumeration its number.
class PayloadWriter {
 public:
  explicit PayloadWriter(std::endian order = std::endian::little) : order_(order) {}

  template <std::integral T>
  PayloadWriter& Number(T value) {
    const auto bits = static_cast<std::uint64_t>(static_cast<std::make_unsigned_t<T>>(value));
    for (std::size_t i = 0; i < sizeof(T); ++i) {
      const std::size_t place = order_ == std::endian::little ? i : sizeof(T) - 1 - i;
      bytes_.push_back(static_cast<std::uint8_t>(bits >> (8 * place)));
    }
    return *this;
  }
  PayloadWriter& Number(float value) { return Number(std::bit_cast<std::uint32_t>(value)); }
  PayloadWriter& Number(double value) { return Number(std::bit_cast<std::uint64_t>(value)); }

  template <class E>
  requires std::is_enum_v<E> PayloadWriter& Number(E value) {
    return Number(static_cast<std::underlying_type_t<E>>(value));
  }

  /// What precedes the elements of a vector and the entries of a map.
  PayloadWriter& Count(std::size_t count) { return Number(static_cast<std::uint32_t>(count)); }
  PayloadWriter& Text(std::string_view text) {
    Count(text.size());
    bytes_.insert(bytes_.end(), text.begin(), text.end());
    return *this;
  }
  /// Bytes as they are, such as the elements of a vector of bytes.
  PayloadWriter& Raw(std::span<const std::uint8_t> bytes) {
    bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
    return *this;
  }

  /// What was written since the last Clear; until the next call.
  std::span<const std::uint8_t> Bytes() const { return bytes_; }
  /// Begins a new payload in the same memory.
  PayloadWriter& Clear() {
    bytes_.clear();
    return *this;
  }

 private:
  std::endian order_;
  std::vector<std::uint8_t> bytes_;
};

}  // namespace qor::demo

#endif
