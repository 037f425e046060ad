// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TESTS_SUPPORT_BYTES_H
#define QOR_TESTS_SUPPORT_BYTES_H

#include <cstddef>
#include <cstdint>
#include <numeric>
#include <span>
#include <string>
#include <vector>

namespace qor::test {

using Bytes = std::vector<std::uint8_t>;

/// 0, 1, 2 ... or from another number on.
inline Bytes Counting(std::size_t size, std::uint8_t first = 0) {
  Bytes bytes(size);
  std::iota(bytes.begin(), bytes.end(), first);
  return bytes;
}

/// From hexadecimal digits; spaces are for the reader.
inline Bytes FromHex(const std::string& text) {
  Bytes bytes;
  std::string digits;
  for (const char c : text) {
    digits += c == ' ' ? "" : std::string(1, c);
    if (digits.size() == 2) {
      bytes.push_back(static_cast<std::uint8_t>(std::stoi(digits, nullptr, 16)));
      digits.clear();
    }
  }
  return bytes;
}

inline Bytes Joined(std::span<const std::uint8_t> first, std::span<const std::uint8_t> second) {
  Bytes bytes(first.begin(), first.end());
  bytes.insert(bytes.end(), second.begin(), second.end());
  return bytes;
}

}  // namespace qor::test

#endif
