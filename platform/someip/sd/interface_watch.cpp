// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/sd/interface_watch.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

#include <asio/posix/stream_descriptor.hpp>

namespace qor::someip::sd {
namespace {

InterfaceState StateOf(Ipv4Address address) {
  ifaddrs* list = nullptr;
  if (::getifaddrs(&list) != 0) {
    return {};
  }
  InterfaceState state;
  for (const ifaddrs* entry = list; entry != nullptr && state.index == 0; entry = entry->ifa_next) {
    if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET) {
      continue;
    }
    sockaddr_in its{};
    std::memcpy(&its, entry->ifa_addr, sizeof(its));
    if (ntohl(its.sin_addr.s_addr) == address.value) {
      constexpr unsigned int kRunning = IFF_UP | IFF_RUNNING;
      state = {::if_nametoindex(entry->ifa_name), (entry->ifa_flags & kRunning) == kRunning};
    }
  }
  ::freeifaddrs(list);
  return state;
}

/// A socket on which the kernel tells about links and IPv4 addresses.
asio::error_code OpenNetlink(asio::posix::stream_descriptor& descriptor) {
  asio::error_code error;
  const int fd = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE);
  if (fd < 0) {
    return {errno, asio::error::get_system_category()};
  }
  sockaddr_nl groups{};
  groups.nl_family = AF_NETLINK;
  groups.nl_groups = RTMGRP_LINK | RTMGRP_IPV4_IFADDR;
  if (::bind(fd, reinterpret_cast<const sockaddr*>(&groups), sizeof(groups)) != 0) {
    error = {errno, asio::error::get_system_category()};
  } else {
    descriptor.assign(fd, error);
  }
  if (error) {
    ::close(fd);
  }
  return error;
}

}  // namespace

class InterfaceWatch::Impl : public std::enable_shared_from_this<Impl> {
 public:
  Impl(asio::io_context& loop, Ipv4Address address, Handler onChange)
      : address_(address), changes_(loop), onChange_(std::move(onChange)) {}

  ara::core::Result<void> Start() {
    if (const auto error = OpenNetlink(changes_)) {
      return ara::core::ErrorCode(error.value(), "cannot watch the interfaces: " + error.message());
    }
    Wait();
    Look();
    return {};
  }

  void Stop() {
    asio::error_code ignored;
    changes_.close(ignored);
    onChange_ = nullptr;
  }

 private:
  void Wait() {
    changes_.async_wait(asio::posix::descriptor_base::wait_read,
                        [self = shared_from_this()](const asio::error_code& error) {
                          if (!error && self->onChange_) {
                            self->Drain();
                            self->Wait();
                            self->Look();
                          }
                        });
  }

  /// What the messages say is not read: some can be lost, so the state is looked up anyway.
  void Drain() {
    std::array<char, 4096> buffer{};
    while (::recv(changes_.native_handle(), buffer.data(), buffer.size(), MSG_DONTWAIT) >= 0 || errno == ENOBUFS ||
           errno == EINTR) {
    }
  }

  void Look() {
    const InterfaceState now = StateOf(address_);
    if (now != std::exchange(last_, now) && onChange_) {
      const Handler onChange = onChange_;  // the call can stop the watch
      onChange(now);
    }
  }

  const Ipv4Address address_;
  asio::posix::stream_descriptor changes_;
  Handler onChange_;  // empty: stopped
  InterfaceState last_;
};

InterfaceWatch::InterfaceWatch(asio::io_context& loop, Ipv4Address address, Handler onChange)
    : impl_(std::make_shared<Impl>(loop, address, std::move(onChange))) {}

InterfaceWatch::~InterfaceWatch() { impl_->Stop(); }

ara::core::Result<void> InterfaceWatch::Start() { return impl_->Start(); }

}  // namespace qor::someip::sd
