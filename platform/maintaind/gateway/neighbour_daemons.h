// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_MAINTAIND_GATEWAY_NEIGHBOUR_DAEMONS_H
#define QOR_MAINTAIND_GATEWAY_NEIGHBOUR_DAEMONS_H

#include <cstdint>
#include <map>
#include <optional>

#include "platform/ara/core/result.h"
#include "platform/log/qor_log.h"
#include "platform/maintaind/daemon/network_tools_service.h"
#include "platform/maintaind/daemon/remote_daemon_board.h"
#include "platform/someip/sd/services.h"

namespace qor::maintaind {

/// How the daemons of several hosts find each other: by the offers of their tools services. On the daemon's loop.
///
/// Daemons of several hosts may have one instance number, while service discovery wants instances that differ in the
/// whole network. So the offer's instance is the lower half of the host's address, which differs in a network that is
/// not wider than 16 bits. In a wider one two hosts can come upon one instance: the host with the lower address keeps
/// it, the other one takes another.
class NeighbourDaemons {
 public:
  /// How many instances are tried; a host that claims them all would have us try for ever.
  static constexpr std::uint32_t kMaxInstances = 16;

  /// Both outlive it.
  NeighbourDaemons(NetworkToolsService& tools, RemoteDaemonBoard& board, std::uint16_t instance)
      : tools_(tools), board_(board), instance_(instance) {}

  /// Opens this daemon's tools service on the address. What is to be offered, or the errors of NetworkToolsService.
  ara::core::Result<someip::sd::OfferedService> Open(someip::Ipv4Address address);
  void Close();
  /// Another host offers a service that this host offers too. What to offer instead; nothing: this one stays.
  std::optional<someip::sd::OfferedService> GiveWay(const someip::sd::ServiceKey& key, someip::Ipv4Address claimant);

  /// A service of another host: its offer is new, has changed or has ended. Of a host with several tools services the
  /// one that came first counts as long as it is offered, because a host has one speaker.
  void OnOffer(const someip::sd::RemoteService& service);
  /// Tells the board what has changed. Others can change it faster than it can be told, so it is told on demand.
  void Refresh();

 private:
  using Key = someip::sd::ServiceKey;

  struct Host {
    Key counts;  ///< one of the offers
    std::map<Key, RemoteDaemon> offers;
  };

  someip::sd::OfferedService NextOffer();
  bool IsTaken(const Key& key) const;

  const QorLog log_{"NeighbourDaemons"};
  NetworkToolsService& tools_;
  RemoteDaemonBoard& board_;
  const std::uint16_t instance_;
  std::optional<someip::Endpoint> own_;  ///< of the tools service that is open
  Key ownKey_;                           ///< while it is open
  std::uint32_t triedInstances_ = 0;
  std::map<someip::Ipv4Address, Host> hosts_;
  bool isChanged_ = false;
};

}  // namespace qor::maintaind

#endif
