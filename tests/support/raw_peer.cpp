// SPDX-License-Identifier: Apache-2.0
#include "tests/support/raw_peer.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "platform/ipc/stream_address.h"
#include "platform/ipc/unix_connect.h"
#include "tests/support/eventually.h"

namespace qor::test {
namespace {

ipc::UniqueFd ConnectTcp(const someip::Endpoint& endpoint) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(endpoint.address.value);
  address.sin_port = htons(endpoint.port);
  ipc::UniqueFd socket(::socket(AF_INET, SOCK_STREAM, 0));
  const bool isConnected = ::connect(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
  return isConnected ? std::move(socket) : ipc::UniqueFd();
}

}  // namespace

RawPeer::Bytes RawPeer::RequestBytes(std::uint16_t service, std::uint16_t method, const Bytes& payload) {
  someip::MessageHeader header;
  header.serviceId = service;
  header.methodId = method;
  header.length = someip::kLengthOverhead + static_cast<std::uint32_t>(payload.size());
  header.clientId = 7;
  header.sessionId = 1;
  const auto encoded = someip::EncodeHeader(header);
  Bytes bytes(encoded.size() + payload.size());
  std::copy(payload.begin(), payload.end(), std::copy(encoded.begin(), encoded.end(), bytes.begin()));
  return bytes;
}

RawPeer::RawPeer(const std::string& address) {
  if (const auto endpoint = ipc::TcpEndpointOf(address)) {
    socket_ = ConnectTcp(*endpoint);
  } else {
    Eventually([&] {
      ipc::ConnectAttempt attempt = ipc::ConnectUnix(address);
      socket_ = std::move(attempt.socket);
      return !attempt.IsBusy();
    });
  }
  if (socket_) {
    ::fcntl(socket_.Get(), F_SETFL, ::fcntl(socket_.Get(), F_GETFL) & ~O_NONBLOCK);
    const timeval limit{10, 0};
    ::setsockopt(socket_.Get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
    ::setsockopt(socket_.Get(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof(limit));
  }
}

bool RawPeer::Send(std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = ::send(socket_.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent <= 0) {
      return false;
    }
    bytes = bytes.subspan(static_cast<std::size_t>(sent));
  }
  return true;
}

std::optional<RawPeer::Message> RawPeer::Receive() {
  std::array<std::uint8_t, someip::kHeaderSize> bytes{};
  if (!ReadExactly(bytes.data(), bytes.size())) {
    return std::nullopt;
  }
  const auto header = someip::DecodeHeader(bytes);
  if (!header) {
    return std::nullopt;
  }
  Message message{*header, Bytes(header->PayloadSize())};
  if (!ReadExactly(message.payload.data(), message.payload.size())) {
    return std::nullopt;
  }
  return message;
}

bool RawPeer::ReadExactly(std::uint8_t* to, std::size_t size) {
  while (size > 0) {
    const ssize_t got = ::recv(socket_.Get(), to, size, 0);
    if (got <= 0) {
      return false;
    }
    to += got;
    size -= static_cast<std::size_t>(got);
  }
  return true;
}

bool RawPeer::IsClosedByPeer() {
  std::array<std::uint8_t, 65536> sink{};
  while (true) {
    const ssize_t got = ::recv(socket_.Get(), sink.data(), sink.size(), 0);
    if (got <= 0) {
      return got == 0 || errno == ECONNRESET;
    }
  }
}

}  // namespace qor::test
