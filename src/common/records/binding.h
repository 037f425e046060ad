// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COMMON_RECORDS_BINDING_H
#define QOR_COMMON_RECORDS_BINDING_H

#include <cstdint>
#include <string_view>

namespace qor::maintaind {

/// The wire that carries an entity.
enum class DriverType : std::uint32_t { kDds = 0, kSomeip = 1 };

/// The transport that a DDS endpoint uses.
enum class TransportQos : std::uint8_t {
  kUdp = 0,
  kIcc = 1,
  kDshm = 2,
  kShm = 3,
  kDshmMbuf = 4,
  kFshm = 5,
  kPcie = 6,
};

/// The text that the tools print for a transport; "UNKNOWN" for a value outside the list.
std::string_view TransportQosText(TransportQos transport);

}  // namespace qor::maintaind

#endif
