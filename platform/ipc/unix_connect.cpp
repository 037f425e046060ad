// SPDX-License-Identifier: Apache-2.0
#include "platform/ipc/unix_connect.h"

#include <sys/socket.h>

#include <algorithm>

namespace qor::ipc {

std::optional<sockaddr_un> UnixAddress(const std::string& path) {
  sockaddr_un address{};
  if (path.empty() || path.size() >= sizeof(address.sun_path)) {
    return std::nullopt;
  }
  address.sun_family = AF_UNIX;
  std::copy(path.begin(), path.end(), address.sun_path);
  return address;
}

ConnectAttempt ConnectUnix(const std::string& path) {
  const auto address = UnixAddress(path);
  if (!address) {
    return {UniqueFd(), ENAMETOOLONG};
  }
  UniqueFd socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (!socket || ::connect(socket.Get(), reinterpret_cast<const sockaddr*>(&*address), sizeof(*address)) != 0) {
    return {UniqueFd(), errno};
  }
  return {std::move(socket), 0};
}

}  // namespace qor::ipc
