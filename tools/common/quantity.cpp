// SPDX-License-Identifier: Apache-2.0
#include "tools/common/quantity.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <limits>
#include <string_view>

#include "tools/common/number_text.h"
#include "tools/common/printable.h"

namespace qor::tools {
namespace {

/// The number that the text begins with, which is taken out of it; negative when there is none.
double TakeNumber(std::string_view& text) {
  double number = -1;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed);
  if (error != std::errc() || !std::isfinite(number)) {
    return -1;
  }
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return number;
}

/// Seconds of a unit; 0 for what is none.
double SecondsOf(char unit) {
  constexpr double kMinute = 60;
  constexpr double kHour = 3600;
  switch (unit) {
    case 's':
      return 1;
    case 'm':
      return kMinute;
    case 'h':
      return kHour;
    default:
      return 0;
  }
}

/// As ParseSize takes it, in the largest unit that makes it short, rounded down.
std::string SizeText(std::uint64_t size) {
  constexpr std::array kUnits{"", "K", "M", "G", "T"};
  constexpr std::uint64_t kKibi = 1024;
  std::size_t unit = 0;
  for (; size >= kKibi && unit + 1 < kUnits.size() && (size % kKibi == 0 || size >= kKibi * kKibi); ++unit) {
    size /= kKibi;
  }
  return std::to_string(size) + kUnits[unit];
}

std::string Refusal(const std::string& value, const std::string& expected) {
  return "'" + Printable(value) + "' is refused: expected " + expected;
}

}  // namespace

std::uint64_t ParseSize(const std::string& text) {
  constexpr std::string_view kUnits = "KMGT";
  constexpr double kKibi = 1024;
  constexpr double kLargest = 1e18;
  std::string_view rest = text;
  double size = TakeNumber(rest);
  if (const std::size_t unit = rest.empty() ? std::string_view::npos : kUnits.find(rest.front());
      unit != std::string_view::npos) {
    size *= std::pow(kKibi, static_cast<double>(unit + 1));
    rest.remove_prefix(1);
    rest.remove_prefix(rest.starts_with("iB") ? 1 : 0);
  }
  if (rest.starts_with('B')) {
    rest.remove_prefix(1);
  }
  return rest.empty() && size >= 0 && size <= kLargest ? static_cast<std::uint64_t>(size) : 0;
}

std::optional<double> ParseDuration(const std::string& text) {
  std::string_view rest = text;
  double seconds = 0;
  double before = std::numeric_limits<double>::infinity();
  do {
    const double number = TakeNumber(rest);
    const bool isPlain = rest.empty() && std::isinf(before);
    const double unit = isPlain ? 1 : rest.empty() ? 0 : SecondsOf(rest.front());
    if (number < 0 || unit <= 0 || unit >= before) {
      return std::nullopt;
    }
    rest.remove_prefix(isPlain ? 0 : 1);
    seconds += number * unit;
    before = unit;
  } while (!rest.empty());
  return seconds;
}

CLI::Option* AddSizeOption(CLI::App& command, const std::string& name, std::uint64_t& value, std::uint64_t least,
                           std::uint64_t most, const std::string& about) {
  const auto set = [&value, least, most](const std::string& text) {
    const std::uint64_t size = ParseSize(text);
    if (size < least || size > most) {
      throw CLI::ValidationError(
          Refusal(text, "a size from " + SizeText(least) + " to " + SizeText(most) + ", such as 500M or 1.5G"));
    }
    value = size;
  };
  return command.add_option_function<std::string>(name, set, about)->option_text("SIZE");
}

CLI::Option* AddDurationOption(CLI::App& command, const std::string& name, double& value, double least, double most,
                               const std::string& about) {
  const auto set = [&value, least, most](const std::string& text) {
    const auto seconds = ParseDuration(text);
    if (!seconds.has_value() || *seconds < least || *seconds > most) {
      throw CLI::ValidationError(Refusal(text, "a time from " + FixedText(least, least > 0 && least < 1 ? 3 : 0) +
                                                   " to " + FixedText(most, 0) + " seconds, such as 90, 10m or 1h30m"));
    }
    value = *seconds;
  };
  return command.add_option_function<std::string>(name, set, about)->option_text("TIME");
}

}  // namespace qor::tools
