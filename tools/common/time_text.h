// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_COMMON_TIME_TEXT_H
#define QOR_TOOLS_COMMON_TIME_TEXT_H

#include <chrono>
#include <string>

namespace qor::tools {

/// Digits of a second.
enum class TimeDigits { kMilli = 3, kMicro = 6 };

/// "2025-01-31 23:59:59.123", local time.
std::string LocalTimeText(std::chrono::system_clock::time_point time, TimeDigits digits);
/// "2025-01-31T23:59:59.123Z", as ISO 8601 has it.
std::string UtcTimeText(std::chrono::system_clock::time_point time, TimeDigits digits);

}  // namespace qor::tools

#endif
