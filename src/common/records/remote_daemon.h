// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COMMON_RECORDS_REMOTE_DAEMON_H
#define QOR_COMMON_RECORDS_REMOTE_DAEMON_H

#include <compare>
#include <cstdint>
#include <string>

#include "src/common/records/visit.h"

namespace qor::maintaind {

/// A daemon of another host, and the TCP endpoint of its tools service.
struct RemoteDaemon {
  std::uint16_t instance = 0;
  std::string address;  ///< dotted IPv4
  std::uint16_t port = 0;

  auto operator<=>(const RemoteDaemon&) const = default;

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("instance", s.instance...);
    visit("address", s.address...);
    visit("port", s.port...);
  }
};

}  // namespace qor::maintaind

#endif
