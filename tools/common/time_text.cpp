// SPDX-License-Identifier: Apache-2.0
#include "tools/common/time_text.h"

#include <array>
#include <cstdint>
#include <ctime>

namespace qor::tools {
namespace {

std::string Text(std::chrono::system_clock::time_point time, TimeDigits digits, bool isUtc) {
  const auto sinceEpoch = time.time_since_epoch();
  const auto seconds = std::chrono::floor<std::chrono::seconds>(sinceEpoch);
  auto fraction = std::chrono::duration_cast<std::chrono::microseconds>(sinceEpoch - seconds).count();
  fraction /= digits == TimeDigits::kMilli ? 1000 : 1;
  const std::time_t whole = seconds.count();
  std::tm parts{};
  if (isUtc) {
    ::gmtime_r(&whole, &parts);
  } else {
    ::localtime_r(&whole, &parts);
  }
  std::array<char, 64> text{};
  const std::size_t size =
      std::strftime(text.data(), text.size(), isUtc ? "%Y-%m-%dT%H:%M:%S" : "%Y-%m-%d %H:%M:%S", &parts);
  std::string fractionText = std::to_string(fraction);
  fractionText.insert(0, static_cast<std::size_t>(digits) - fractionText.size(), '0');
  return std::string(text.data(), size) + "." + fractionText + (isUtc ? "Z" : "");
}

}  // namespace

std::string LocalTimeText(std::chrono::system_clock::time_point time, TimeDigits digits) {
  return Text(time, digits, /*isUtc=*/false);
}

std::string UtcTimeText(std::chrono::system_clock::time_point time, TimeDigits digits) {
  return Text(time, digits, /*isUtc=*/true);
}

}  // namespace qor::tools
