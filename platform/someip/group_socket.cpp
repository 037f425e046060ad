// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/group_socket.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>

#include "platform/someip/asio_endpoint.h"

namespace qor::someip {

asio::error_code OpenGroupSocket(asio::ip::udp::socket& socket, const Endpoint& group) {
  asio::error_code error;
  socket.open(asio::ip::udp::v4(), error);
  if (!error) {
    socket.set_option(asio::ip::udp::socket::reuse_address(true), error);
  }
  const int off = 0;  // nothing from interfaces on which only others have joined the group
  if (!error && ::setsockopt(socket.native_handle(), IPPROTO_IP, IP_MULTICAST_ALL, &off, sizeof(off)) != 0) {
    error.assign(errno, asio::error::get_system_category());
  }
  if (!error) {
    socket.bind(ToAsio<asio::ip::udp>(group), error);
  }
  return error;
}

}  // namespace qor::someip
