// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DATATYPE_NUMBER_TEXT_H
#define QOR_DATATYPE_NUMBER_TEXT_H

#include <charconv>
#include <concepts>
#include <type_traits>

#include "src/datatype/text_buffer.h"

namespace qor::datatype {

/// Bytes that the longest number takes: a double of 309 digits with six behind the point, and its sign.
inline constexpr std::size_t kLongestNumber = 320;
inline constexpr std::size_t kLongestInteger = 20;

/// Appends a number as text: integers in decimal, never as characters; floating-point numbers with six digits behind
/// the point; flags as 1 and 0.
template <class T>
[[gnu::always_inline]] inline void AppendNumber(TextBuffer& text, T value) {
  if constexpr (std::same_as<T, bool>) {
    text.Append(value ? '1' : '0');
  } else if constexpr (std::floating_point<T>) {
    char* const room = text.Room(kLongestNumber);
    text.Advance(std::to_chars(room, room + kLongestNumber, value, std::chars_format::fixed, 6).ptr);
  } else {
    using Wide = std::conditional_t<sizeof(T) < sizeof(int), int, T>;
    char* const room = text.Room(kLongestInteger);
    text.Advance(std::to_chars(room, room + kLongestInteger, static_cast<Wide>(value)).ptr);
  }
}

}  // namespace qor::datatype

#endif
