// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_SERVICE_CLIENT_COUNTS_H
#define QOR_SOMEIP_SERVICE_CLIENT_COUNTS_H

#include <cstdint>

namespace qor::someip {

struct ServiceClientCounts {
  std::uint64_t kernelDrops = 0;  ///< datagrams that found the receive buffer full
  std::uint64_t tpDropped = 0;    ///< segmented messages that did not become whole
  std::uint64_t foreign = 0;      ///< messages of another service, version or host
  std::uint64_t malformed = 0;    ///< datagrams that are no SOME/IP, from any host

  /// What was for us and did not arrive. Not `foreign` and not `malformed`, which anybody can send to the port.
  std::uint64_t Lost() const { return kernelDrops + tpDropped; }
};

}  // namespace qor::someip

#endif
