// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_MAINTAIND_DAEMON_PEER_INFO_H
#define QOR_MAINTAIND_DAEMON_PEER_INFO_H

#include <cstdint>
#include <string>

namespace qor::maintaind {

/// Names one connection of the daemon; never used twice. 0 is no connection.
using ConnectionId = std::uint64_t;

/// The process at the other end of a connection, as the kernel vouches for it.
struct PeerInfo {
  std::uint32_t processId = 0;
  std::string identity;      ///< "user:group"; numbers for an account without a name
  std::string selinuxLabel;  ///< empty without SELinux
};

/// Reads who connected to a Unix-domain socket; empty texts when the kernel does not say.
PeerInfo PeerOfSocket(int socket);

}  // namespace qor::maintaind

#endif
