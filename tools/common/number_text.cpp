// SPDX-License-Identifier: Apache-2.0
#include "tools/common/number_text.h"

#include <array>
#include <charconv>
#include <cmath>

namespace qor::tools {
namespace {

std::string WithUnit(double bytes) {
  constexpr std::array<const char*, 5> kUnits{" B", " kB", " MB", " GB", " TB"};
  constexpr double kStep = 1000.0;
  std::size_t unit = 0;
  while (bytes >= kStep && unit + 1 < kUnits.size()) {
    bytes /= kStep;
    ++unit;
  }
  return FixedText(bytes, unit == 0 ? 0 : 1) + kUnits[unit];
}

}  // namespace

std::string FixedText(double value, int digits) {
  constexpr double kLargest = 1e18;  // what the buffer holds
  if (!std::isfinite(value) || std::abs(value) > kLargest) {
    return "-";
  }
  std::array<char, 48> text{};
  const auto end = std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed, digits).ptr;
  return {text.data(), end};
}

std::string ByteText(std::uint64_t bytes) { return WithUnit(static_cast<double>(bytes)); }

std::string ByteRateText(double bytesPerSecond) {
  return std::isfinite(bytesPerSecond) ? WithUnit(bytesPerSecond) + "/s" : "-";
}

std::string HexText(std::uint16_t value) {
  std::array<char, 4> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value, 16).ptr;
  const std::string text(digits.data(), end);
  return "0x" + std::string(digits.size() - text.size(), '0') + text;
}

}  // namespace qor::tools
