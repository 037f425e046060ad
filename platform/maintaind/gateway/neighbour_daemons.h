// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_MAINTAIND_GATEWAY_NEIGHBOUR_DAEMONS_H
#define QOR_MAINTAIND_GATEWAY_NEIGHBOUR_DAEMONS_H

#include <cstdint>
#include <map>
#include <string>

#include "platform/ara/core/result.h"
#include "platform/maintaind/daemon/network_tools_service.h"
#include "platform/maintaind/daemon/remote_daemon_board.h"
#include "platform/someip/sd/services.h"

namespace qor::maintaind {

/// How the daemons of several hosts find each other: by the offers of their tools services. On the daemon's loop.
///
/// Daemons of several hosts may have one instance number, while service discovery wants instances that differ in the
/// whole network; so the offer's instance comes from the host's address, and the daemon's number is in its
/// configuration
/// ("instance=3").
class NeighbourDaemons {
 public:
  /// Both outlive it.
  NeighbourDaemons(NetworkToolsService& tools, RemoteDaemonBoard& board, std::uint16_t instance)
      : tools_(tools), board_(board), instance_(instance) {}

  /// Opens this daemon's tools service on the address. What is to be offered, or the errors of NetworkToolsService.
  ara::core::Result<someip::sd::OfferedService> Open(someip::Ipv4Address address);
  void Close() { tools_.Close(); }

  static bool IsDaemon(const someip::sd::ServiceKey& key);
  /// Such a service was offered, or otherwise than before.
  void OnOffered(const someip::sd::RemoteService& service);
  void OnGone(const someip::sd::RemoteService& service);

 private:
  void Publish();

  NetworkToolsService& tools_;
  RemoteDaemonBoard& board_;
  const std::uint16_t instance_;
  std::map<someip::sd::ServiceKey, RemoteDaemon> daemons_;
};

}  // namespace qor::maintaind

#endif
