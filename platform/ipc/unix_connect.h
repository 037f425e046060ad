// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_IPC_UNIX_CONNECT_H
#define QOR_IPC_UNIX_CONNECT_H

#include <sys/un.h>

#include <cerrno>
#include <optional>
#include <string>

#include "platform/ipc/unique_fd.h"

namespace qor::ipc {

/// The address of a Unix-domain socket; nothing when the path is empty or too long for one.
std::optional<sockaddr_un> UnixAddress(const std::string& path);

/// How one attempt to connect ended.
struct ConnectAttempt {
  UniqueFd socket;  ///< non-blocking; none unless connected
  int error = 0;    ///< errno; 0: connected

  bool IsConnected() const { return error == 0; }
  /// Somebody listens, but the queue of connections to be accepted is full: worth another attempt.
  bool IsBusy() const { return error == EAGAIN; }
  /// A socket file that nobody listens on any more.
  bool IsLeftover() const { return error == ECONNREFUSED; }
};

/// Connects to a Unix-domain stream socket. Never blocks: such a connection is there at once or not at all.
ConnectAttempt ConnectUnix(const std::string& path);

}  // namespace qor::ipc

#endif
