// SPDX-License-Identifier: Apache-2.0
#include "tools/common/number_text.h"

#include <array>
#include <charconv>
#include <cmath>

namespace qor::tools {

std::string FixedText(double value, int digits) {
  constexpr double kLargest = 1e18;  // what the buffer holds
  if (!std::isfinite(value) || std::abs(value) > kLargest) {
    return "-";
  }
  std::array<char, 48> text{};
  const auto end = std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed, digits).ptr;
  return {text.data(), end};
}

std::string ByteRateText(double bytesPerSecond) {
  constexpr std::array<const char*, 4> kUnits{" B/s", " kB/s", " MB/s", " GB/s"};
  constexpr double kStep = 1000.0;
  if (!std::isfinite(bytesPerSecond)) {
    return "-";
  }
  std::size_t unit = 0;
  while (bytesPerSecond >= kStep && unit + 1 < kUnits.size()) {
    bytesPerSecond /= kStep;
    ++unit;
  }
  return FixedText(bytesPerSecond, unit == 0 ? 0 : 1) + kUnits[unit];
}

std::string HexText(std::uint16_t value) {
  std::array<char, 4> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value, 16).ptr;
  const std::string text(digits.data(), end);
  return "0x" + std::string(digits.size() - text.size(), '0') + text;
}

}  // namespace qor::tools
