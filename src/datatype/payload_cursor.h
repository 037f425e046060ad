// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DATATYPE_PAYLOAD_CURSOR_H
#define QOR_DATATYPE_PAYLOAD_CURSOR_H

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace qor::datatype {

/// How reading a payload ended.
enum class DeserializationRetCode : std::uint8_t {
  kSuccess = 0,
  kTypeUnknown = 1,      ///< the type or one that it is made of is not known, or cannot be used
  kOutOfBounds = 2,      ///< the payload ends before the value does
  kInvalidData = 3,      ///< the bytes are no value of the type
  kProtocolUnknown = 4,  ///< neither DDS nor SOME/IP
  kAbsent = 5,           ///< the value has no part of the kind that was asked for
};

/// The number at an address, whose bytes need no alignment.
template <class T>
[[gnu::always_inline]] inline T Load(const std::uint8_t* from, bool isBigEndian) {
  using Raw = std::conditional_t<sizeof(T) == 1, std::uint8_t,
                                 std::conditional_t<sizeof(T) == 2, std::uint16_t,
                                                    std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>>>;
  Raw raw;
  std::memcpy(&raw, from, sizeof(raw));
  if (isBigEndian != (std::endian::native == std::endian::big)) {
    if constexpr (sizeof(Raw) == 2) {
      raw = __builtin_bswap16(raw);
    } else if constexpr (sizeof(Raw) == 4) {
      raw = __builtin_bswap32(raw);
    } else if constexpr (sizeof(Raw) == 8) {
      raw = __builtin_bswap64(raw);
    }
  }
  if constexpr (std::same_as<T, bool>) {
    return raw != 0;
  } else {
    return std::bit_cast<T>(raw);
  }
}

/// Where reading one payload stands, and why it failed. The payload must outlive it.
class PayloadCursor {
 public:
  explicit PayloadCursor(std::span<const std::uint8_t> payload, std::size_t offset = 0)
      : payload_(payload), offset_(offset), end_(payload.size()) {}

  std::size_t Size() const { return payload_.size(); }
  std::size_t Offset() const { return offset_; }
  /// End of the innermost value whose length is known.
  std::size_t End() const { return end_; }
  std::size_t Remaining() const { return offset_ < end_ ? end_ - offset_ : 0; }

  /// The next byte.
  const std::uint8_t* Data() const { return payload_.data() + offset_; }
  void Advance(std::size_t bytes) { offset_ += bytes; }
  void MoveTo(std::size_t offset) { offset_ = offset; }
  /// The end that was; `end` must not be behind it.
  std::size_t SetEnd(std::size_t end) { return std::exchange(end_, end); }

  /// The next bytes, which must remain; stays where it is.
  std::string_view Peek(std::size_t bytes) const {
    return bytes == 0 ? std::string_view() : std::string_view(reinterpret_cast<const char*>(&payload_[offset_]), bytes);
  }

  /// The next number, whose bytes must remain.
  template <class T>
  T Take(bool isBigEndian) {
    const T value = Load<T>(Data(), isBigEndian);
    offset_ += sizeof(T);
    return value;
  }

  /// Always false.
  bool Fail(DeserializationRetCode code, std::string reason) {
    code_ = code;
    reason_ = std::move(reason);
    return false;
  }
  DeserializationRetCode Code() const { return code_; }
  const std::string& Reason() const { return reason_; }

 private:
  const std::span<const std::uint8_t> payload_;
  std::size_t offset_;
  std::size_t end_;
  DeserializationRetCode code_ = DeserializationRetCode::kSuccess;
  std::string reason_;
};

}  // namespace qor::datatype

#endif
