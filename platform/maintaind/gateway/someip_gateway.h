// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_MAINTAIND_GATEWAY_SOMEIP_GATEWAY_H
#define QOR_MAINTAIND_GATEWAY_SOMEIP_GATEWAY_H

#include <cstdint>
#include <memory>

#include <asio/io_context.hpp>

#include "platform/ara/core/result.h"
#include "platform/maintaind/daemon/foreign_services.h"
#include "platform/maintaind/daemon/service_broker.h"
#include "platform/maintaind/gateway/neighbour_daemons.h"
#include "platform/someip/sd/sd_config.h"

namespace qor::maintaind {

struct SomeipGatewayOptions {
  someip::Ipv4Address address;            ///< of the host's interface; it may come later and go
  someip::Ipv4Address group{0xE0E0E0F5};  ///< of service discovery: 224.224.224.245
  someip::sd::SdConfig discovery;
};

/// This host's part in SOME/IP between hosts: the one speaker of service discovery on its address. Offers what
/// applications of this host provide, brings what they look for, and tells what other hosts offer. All on the thread of
/// the loop, which outlives it; events pass on threads of its own.
class SomeipGateway {
 public:
  /// All of them outlive the gateway.
  struct Parts {
    Registry& registry;
    ServiceBroker& broker;
    ForeignServices& foreign;
    NeighbourDaemons& neighbours;
  };

  SomeipGateway(asio::io_context& loop, const Parts& parts, const SomeipGatewayOptions& options);
  /// Call Stop() before, to tell the other hosts.
  ~SomeipGateway();
  SomeipGateway(const SomeipGateway&) = delete;
  SomeipGateway& operator=(const SomeipGateway&) = delete;

  /// Once. An address that no interface has yet is no error.
  ara::core::Result<void> Start();
  void Stop();

 private:
  class Impl;
  const std::shared_ptr<Impl> impl_;  // shared with what the loop still holds
};

}  // namespace qor::maintaind

#endif
