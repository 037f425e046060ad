// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TOOLS_COMMON_NUMBER_TEXT_H
#define QOR_TOOLS_COMMON_NUMBER_TEXT_H

#include <cstdint>
#include <string>

namespace qor::tools {

/// A number with so many digits after the point; "-" when it is none.
std::string FixedText(double value, int digits);

/// A number of bytes with a fitting unit, such as "12.3 MB".
std::string ByteText(std::uint64_t bytes);

/// A number of bytes in a second with a fitting unit, such as "12.3 kB/s"; "-" when it is none.
std::string ByteRateText(double bytesPerSecond);

/// "0x1234".
std::string HexText(std::uint16_t value);

}  // namespace qor::tools

#endif
