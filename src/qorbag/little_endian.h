// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_LITTLE_ENDIAN_H
#define QOR_QORBAG_LITTLE_ENDIAN_H

#include <bit>
#include <concepts>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>

#include "src/qorbag/qor_buffer.h"

/// Numbers as bag files have them: little-endian, in their own width.
namespace qor::qorbag {

template <std::unsigned_integral T>
constexpr T LittleEndian(T value) {
  if constexpr (std::endian::native == std::endian::little || sizeof(T) == 1) {
    return value;
  } else if constexpr (sizeof(T) == 2) {
    return __builtin_bswap16(value);
  } else if constexpr (sizeof(T) == 4) {
    return __builtin_bswap32(value);
  } else {
    return __builtin_bswap64(value);
  }
}

/// Stores a number; where the next byte goes.
template <std::unsigned_integral T>
std::uint8_t* Store(std::uint8_t* to, T value) {
  value = LittleEndian(value);
  std::memcpy(to, &value, sizeof(value));
  return to + sizeof(value);
}

template <std::unsigned_integral T>
T LoadLittle(const std::uint8_t* from) {
  T value;
  std::memcpy(&value, from, sizeof(value));
  return LittleEndian(value);
}

template <std::unsigned_integral T>
void AppendNumber(QorBuffer& out, T value) {
  Store(out.Extend(sizeof(T)), value);
}

/// Takes numbers and texts from the front of some bytes. Each is false, and takes nothing, when too few remain.
class ByteReader {
 public:
  explicit ByteReader(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  std::size_t Remaining() const { return bytes_.size(); }

  template <std::unsigned_integral T>
  [[nodiscard]] bool Read(T& value) {
    if (bytes_.size() < sizeof(T)) {
      return false;
    }
    value = LoadLittle<T>(bytes_.data());
    bytes_ = bytes_.subspan(sizeof(T));
    return true;
  }
  [[nodiscard]] bool Read(std::size_t size, std::span<const std::uint8_t>& bytes) {
    if (bytes_.size() < size) {
      return false;
    }
    bytes = bytes_.first(size);
    bytes_ = bytes_.subspan(size);
    return true;
  }
  /// Behind its length in 32 bits.
  [[nodiscard]] bool Read(std::string& text) {
    std::uint32_t size = 0;
    std::span<const std::uint8_t> bytes;
    ByteReader ahead = *this;
    if (!ahead.Read(size) || !ahead.Read(size, bytes)) {
      return false;
    }
    text.assign(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    *this = ahead;
    return true;
  }

 private:
  std::span<const std::uint8_t> bytes_;
};

}  // namespace qor::qorbag

#endif
