// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_PORT_RANGE_H
#define QOR_QORBAG_PORT_RANGE_H

#include <cstdint>
#include <optional>
#include <string>

namespace qor::qorbag {

/// Ports from which a player may choose, both ends with it.
struct PortRange {
  std::uint16_t low = 0;
  std::uint16_t high = 0;
};

/// Of a text such as "[30000,30100]". Nothing, with a line in the log, when it is none.
std::optional<PortRange> CheckInputPortInfo(const std::string& text);

/// Whether a port cannot be had by UDP, or by TCP. Nothing is sent. Any thread.
bool IsPortInUse(std::uint16_t port);

}  // namespace qor::qorbag

#endif
