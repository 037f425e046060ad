// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DATATYPE_NUMBER_TEXT_H
#define QOR_DATATYPE_NUMBER_TEXT_H

#include <charconv>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "src/datatype/text_buffer.h"
#include "src/datatype/type_names.h"

namespace qor::datatype {

/// Bytes that the longest number takes: a double of 309 digits with six behind the point, and its sign.
inline constexpr std::size_t kLongestNumber = 320;
inline constexpr std::size_t kLongestInteger = 20;

/// Characters that a number of the type takes at most.
template <class T>
inline constexpr std::size_t kLongestOf = std::floating_point<T> ? kLongestNumber : kLongestInteger;

/// Writes a number as text and returns its end: integers in decimal, never as characters; floating-point numbers with
/// six digits behind the point; flags as 1 and 0.
template <class T>
[[gnu::always_inline]] inline char* WriteNumber(char* to, T value) {
  if constexpr (std::same_as<T, bool>) {
    *to = value ? '1' : '0';
    return to + 1;
  } else if constexpr (std::floating_point<T>) {
    return std::to_chars(to, to + kLongestNumber, value, std::chars_format::fixed, 6).ptr;
  } else {
    using Wide = std::conditional_t<sizeof(T) < sizeof(int), int, T>;
    return std::to_chars(to, to + kLongestInteger, static_cast<Wide>(value)).ptr;
  }
}

template <class T>
[[gnu::always_inline]] inline void AppendNumber(TextBuffer& text, T value) {
  text.Advance(WriteNumber(text.Room(kLongestOf<T>), value));
}

/// Calls `use` with a zero of the type that the primitive stands for. Not for texts.
template <class Use>
[[gnu::always_inline]] inline void WithPrimitive(Primitive primitive, Use use) {
  switch (primitive) {
    case Primitive::kBool:
      return use(false);
    case Primitive::kInt8:
      return use(std::int8_t{});
    case Primitive::kInt16:
      return use(std::int16_t{});
    case Primitive::kInt32:
      return use(std::int32_t{});
    case Primitive::kInt64:
      return use(std::int64_t{});
    case Primitive::kUint8:
      return use(std::uint8_t{});
    case Primitive::kUint16:
      return use(std::uint16_t{});
    case Primitive::kUint32:
      return use(std::uint32_t{});
    case Primitive::kUint64:
      return use(std::uint64_t{});
    case Primitive::kFloat:
      return use(0.0F);
    case Primitive::kDouble:
      return use(0.0);
    case Primitive::kString:
      break;
  }
}

inline std::size_t LongestNumber(Primitive primitive) {
  std::size_t longest = 0;
  WithPrimitive(primitive, [&](auto sample) { longest = kLongestOf<decltype(sample)>; });
  return longest;
}

}  // namespace qor::datatype

#endif
