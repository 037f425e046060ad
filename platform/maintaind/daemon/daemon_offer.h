// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_MAINTAIND_DAEMON_DAEMON_OFFER_H
#define QOR_MAINTAIND_DAEMON_DAEMON_OFFER_H

#include <cstdint>
#include <optional>

#include "platform/someip/endpoint.h"
#include "platform/someip/sd/services.h"
#include "src/common/records/remote_daemon.h"

/// How a daemon offers its tools service to other hosts, and how they read that.
namespace qor::maintaind {

bool IsToolsService(const someip::sd::ServiceKey& key);

/// The offer of the daemon with the number `daemonInstance`: by TCP at `endpoint`, the number in the configuration
/// ("instance=3"). `serviceInstance` differs from that of all other hosts.
someip::sd::OfferedService OfferOfDaemon(std::uint16_t daemonInstance, std::uint16_t serviceInstance,
                                         const someip::Endpoint& endpoint);

/// The daemon that offers this. Nothing when it is no tools service, when it is not offered (any more), or when it
/// cannot be used: of another version, without a number, or not reached by TCP at the address of the host that offers.
std::optional<RemoteDaemon> DaemonOf(const someip::sd::RemoteService& service);

}  // namespace qor::maintaind

#endif
