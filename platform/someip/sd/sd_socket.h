// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_SD_SD_SOCKET_H
#define QOR_SOMEIP_SD_SD_SOCKET_H

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include <asio/io_context.hpp>

#include "platform/ara/core/result.h"
#include "platform/someip/sd/sd_sender.h"

namespace qor::someip::sd {

inline constexpr std::uint16_t kSdPort = 30490;

struct SdSocketOptions {
  Ipv4Address address;    ///< of the interface; it may come later and go
  Ipv4Address group;      ///< multicast
  std::uint8_t hops = 1;  ///< the time to live of multicast datagrams
};

/// The sockets of service discovery on one address: one bound to the address, which is the source of all that is sent,
/// and one bound to the multicast group. Everything goes from and to kSdPort.
///
/// An address has one speaker. When another program holds the port of the address, this one only listens, bound to the
/// group alone, which takes nothing from the other. All on the thread that runs `loop`.
class SdSocket : public SdSender {
 public:
  /// What the sockets bring. The calls come from the loop, none after the socket was destroyed.
  class Handler {
   public:
    virtual ~Handler() = default;
    /// From another address, or, while only listening, from any. The bytes live until the call returns.
    virtual void OnDatagram(Ipv4Address sender, bool isMulticast, std::span<const std::uint8_t> bytes) = 0;
    /// The address has come to a running interface, or has gone.
    virtual void OnNetwork(bool isUp) = 0;
  };

  struct Counters {
    std::uint64_t received = 0;
    std::uint64_t fromOtherPort = 0;  ///< ignored: not from kSdPort
    std::uint64_t sent = 0;
    std::uint64_t sendFailures = 0;
  };

  SdSocket(asio::io_context& loop, const SdSocketOptions& options, Handler& handler);
  ~SdSocket() override;
  SdSocket(const SdSocket&) = delete;
  SdSocket& operator=(const SdSocket&) = delete;

  /// Starts to listen; once. An address that no interface has yet is no error: the sockets follow it when it comes.
  ara::core::Result<void> Open();

  bool IsUp() const;
  /// Another program speaks for the address: nothing is sent, which counts as a failure. Settled when the address is
  /// first there.
  bool IsListenOnly() const;
  const Counters& Count() const;

  void SendMulticast(std::span<const std::uint8_t> message) override;
  void SendUnicast(Ipv4Address destination, std::span<const std::uint8_t> message) override;

 private:
  class Impl;
  const std::shared_ptr<Impl> impl_;  // shared with the handlers that the loop still holds
};

}  // namespace qor::someip::sd

#endif
