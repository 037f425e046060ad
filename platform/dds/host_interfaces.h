// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DDS_HOST_INTERFACES_H
#define QOR_DDS_HOST_INTERFACES_H

#include <optional>
#include <string>

namespace qor::dds {

inline constexpr const char* kLoopbackAddress = "127.0.0.1";
inline constexpr const char* kLoopbackMask = "255.0.0.0";

/// True for the empty text and for addresses in 127.0.0.0/8: this host only.
bool IsLoopback(const std::string& ip);

/// The subnet mask, dotted, of the interface of this host that has the IPv4 address `ip`; nothing when none has.
std::optional<std::string> SubnetMaskOf(const std::string& ip);

/// The IPv4 address of this host from which `ip` is reached directly: `ip` itself, or that of an interface in the same
/// subnet; nothing when there is none.
std::optional<std::string> OwnAddressTowards(const std::string& ip);

}  // namespace qor::dds

#endif
