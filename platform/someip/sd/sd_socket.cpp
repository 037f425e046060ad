// SPDX-License-Identifier: Apache-2.0
#include "platform/someip/sd/sd_socket.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <optional>

#include <asio/buffer.hpp>
#include <asio/ip/udp.hpp>
#include <asio/steady_timer.hpp>

#include "platform/log/qor_log.h"
#include "platform/someip/asio_endpoint.h"
#include "platform/someip/sd/interface_watch.h"

namespace qor::someip::sd {
namespace {

using asio::ip::udp;

constexpr std::size_t kMaxDatagram = 65536;
/// After a socket has failed to receive, for want of memory for example.
constexpr std::chrono::milliseconds kReceiveRetry{100};

udp::endpoint EndpointAt(Ipv4Address address) { return ToAsio<udp>({address, kSdPort}); }

/// Sets a socket option of IPv4.
template <class Value>
asio::error_code SetIpOption(udp::socket& socket, int option, const Value& value) {
  if (::setsockopt(socket.native_handle(), IPPROTO_IP, option, &value, sizeof(value)) == 0) {
    return {};
  }
  return {errno, asio::error::get_system_category()};
}

ip_mreqn MembershipOf(Ipv4Address group, Ipv4Address address, unsigned int interface) {
  ip_mreqn membership{};
  membership.imr_multiaddr.s_addr = htonl(group.value);
  membership.imr_address.s_addr = htonl(address.value);
  membership.imr_ifindex = static_cast<int>(interface);
  return membership;
}

}  // namespace

class SdSocket::Impl : public std::enable_shared_from_this<Impl> {
 public:
  Impl(asio::io_context& loop, const SdSocketOptions& options, Handler& handler)
      : options_(options), loop_(loop), handler_(&handler), unicast_(loop), multicast_(loop) {}

  ara::core::Result<void> Open() {
    if (!options_.address.IsHost() || !options_.group.IsMulticast()) {
      return ara::core::ErrorCode(EINVAL, options_.address.Text() + " is no host's address or " +
                                              options_.group.Text() + " no multicast group");
    }
    if (const auto error = OpenMulticast()) {
      return ara::core::ErrorCode(
          error.value(), "cannot listen to " + Endpoint{options_.group, kSdPort}.Text() + ": " + error.message());
    }
    Receive(multicast_);
    watch_.emplace(loop_, options_.address, [this](InterfaceState state) { OnInterface(state); });
    return watch_->Start();
  }

  void Close() {
    handler_ = nullptr;
    watch_.reset();
    for (Channel* channel : {&unicast_, &multicast_}) {
      asio::error_code ignored;
      channel->socket.close(ignored);
      channel->retry.cancel();
    }
  }

  bool IsUp() const { return isUp_; }
  bool IsListenOnly() const { return isListenOnly_; }
  const Counters& Count() const { return counters_; }

  void SendTo(Ipv4Address destination, std::span<const std::uint8_t> message) {
    asio::error_code error = asio::error::not_connected;
    if (unicast_.socket.is_open()) {
      unicast_.socket.send_to(asio::buffer(message.data(), message.size()), EndpointAt(destination), 0, error);
    }
    ++(error ? counters_.sendFailures : counters_.sent);
  }
  void SendMulticast(std::span<const std::uint8_t> message) { SendTo(options_.group, message); }

 private:
  /// A socket with what receiving needs.
  struct Channel {
    explicit Channel(asio::io_context& loop) : socket(loop), retry(loop) {}

    udp::socket socket;
    asio::steady_timer retry;
    udp::endpoint sender;
    std::array<std::uint8_t, kMaxDatagram> buffer{};
  };

  /// Bound to the group it takes multicast alone; SO_REUSEADDR lets every program of the host listen so.
  asio::error_code OpenMulticast() {
    udp::socket& socket = multicast_.socket;
    asio::error_code error;
    socket.open(udp::v4(), error);
    if (!error) {
      socket.set_option(udp::socket::reuse_address(true), error);
    }
    if (!error) {
      error = SetIpOption(socket, IP_MULTICAST_ALL, int{0});  // not what others joined on other interfaces
    }
    if (!error) {
      socket.bind(EndpointAt(options_.group), error);
    }
    if (!error) {
      socket.non_blocking(true, error);
    }
    return error;
  }

  /// Without SO_REUSEADDR: of two sockets on one address and port only one would get what is sent to it.
  asio::error_code OpenUnicast() {
    udp::socket& socket = unicast_.socket;
    asio::error_code error;
    socket.open(udp::v4(), error);
    if (!error) {
      socket.bind(EndpointAt(options_.address), error);
    }
    if (!error) {
      error = SetIpOption(socket, IP_MULTICAST_TTL, int{options_.hops});
    }
    if (!error) {
      socket.non_blocking(true, error);
    }
    if (error) {
      asio::error_code ignored;
      socket.close(ignored);
    }
    return error;
  }

  void OnInterface(InterfaceState state) {
    if (state.index != 0) {
      Join(state.index);
      if (!unicast_.socket.is_open() && !isListenOnly_) {
        BecomeSpeaker();
      }
      if (unicast_.socket.is_open()) {
        SetMulticastInterface(state.index);
      }
    }
    const bool wasUp = std::exchange(isUp_, state.isRunning);
    if (isUp_ != wasUp && handler_ != nullptr) {
      handler_->OnNetwork(isUp_);
    }
  }

  /// The interface can be another one than before, or the same one made anew.
  void Join(unsigned int interface) {
    if (joined_ != 0) {
      SetIpOption(multicast_.socket, IP_DROP_MEMBERSHIP, MembershipOf(options_.group, {}, joined_));
    }
    const auto error =
        SetIpOption(multicast_.socket, IP_ADD_MEMBERSHIP, MembershipOf(options_.group, options_.address, interface));
    joined_ = error ? 0 : interface;
    if (error) {
      log_.Error() << "Cannot join the service discovery group.[group=" << options_.group.Text()
                   << ", address=" << options_.address.Text() << ", error=" << error.message() << "]";
    }
  }

  void SetMulticastInterface(unsigned int interface) {
    const auto error = SetIpOption(unicast_.socket, IP_MULTICAST_IF, MembershipOf({}, options_.address, interface));
    if (error) {
      log_.Error() << "Cannot choose the interface of service discovery.[address=" << options_.address.Text()
                   << ", error=" << error.message() << "]";
    }
  }

  void BecomeSpeaker() {
    const auto error = OpenUnicast();
    if (!error) {
      Receive(unicast_);
    } else if (error == asio::error::address_in_use) {
      isListenOnly_ = true;
      log_.Warn() << "Another program speaks service discovery on this address; only listening.[address="
                  << options_.address.Text() << "]";
    } else {
      log_.Error() << "Cannot open the service discovery port.[address=" << options_.address.Text()
                   << ", error=" << error.message() << "]";
    }
  }

  void Receive(Channel& channel) {
    channel.socket.async_receive_from(
        asio::buffer(channel.buffer), channel.sender,
        [self = shared_from_this(), &channel](const asio::error_code& error, std::size_t size) {
          if (self->handler_ == nullptr) {
            return;
          }
          if (error) {
            self->ReceiveLater(channel);
            return;
          }
          self->OnDatagram(channel, size);
          if (self->handler_ != nullptr) {
            self->Receive(channel);
          }
        });
  }

  void ReceiveLater(Channel& channel) {
    channel.retry.expires_after(kReceiveRetry);
    channel.retry.async_wait([self = shared_from_this(), &channel](const asio::error_code& error) {
      if (!error && self->handler_ != nullptr) {
        self->Receive(channel);
      }
    });
  }

  void OnDatagram(Channel& channel, std::size_t size) {
    const Ipv4Address sender = FromAsio(channel.sender).address;
    if (sender == options_.address && !isListenOnly_) {
      return;  // an own one, looped back for other programs of this host
    }
    if (channel.sender.port() != kSdPort) {
      ++counters_.fromOtherPort;
      return;
    }
    ++counters_.received;
    handler_->OnDatagram(sender, &channel == &multicast_, std::span(channel.buffer).first(size));
  }

  const SdSocketOptions options_;
  const QorLog log_{"SdSocket"};
  asio::io_context& loop_;
  Handler* handler_;  // nullptr: closed
  Channel unicast_;   // the socket is closed while not the speaker
  Channel multicast_;
  std::optional<InterfaceWatch> watch_;
  unsigned int joined_ = 0;  // the index of the interface on which the group is joined
  bool isUp_ = false;
  bool isListenOnly_ = false;
  Counters counters_;
};

SdSocket::SdSocket(asio::io_context& loop, const SdSocketOptions& options, Handler& handler)
    : impl_(std::make_shared<Impl>(loop, options, handler)) {}

SdSocket::~SdSocket() { impl_->Close(); }

ara::core::Result<void> SdSocket::Open() { return impl_->Open(); }
bool SdSocket::IsUp() const { return impl_->IsUp(); }
bool SdSocket::IsListenOnly() const { return impl_->IsListenOnly(); }
const SdSocket::Counters& SdSocket::Count() const { return impl_->Count(); }
void SdSocket::SendMulticast(std::span<const std::uint8_t> message) { impl_->SendMulticast(message); }
void SdSocket::SendUnicast(Ipv4Address destination, std::span<const std::uint8_t> message) {
  impl_->SendTo(destination, message);
}

}  // namespace qor::someip::sd
