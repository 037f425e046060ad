// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_MAINTAIND_DAEMON_HOST_NETWORK_H
#define QOR_MAINTAIND_DAEMON_HOST_NETWORK_H

#include <string>

#include "src/common/records/event_info.h"
#include "src/common/records/field_info.h"
#include "src/common/records/method_info.h"
#include "src/common/records/service_info.h"

namespace qor::maintaind {

/// The network over which other hosts see this one.
struct HostNetwork {
  std::string ip;          ///< this host's address in it; empty: none is known
  std::string subnetMask;  ///< dotted

  bool operator==(const HostNetwork&) const = default;
};

/// The mask to list an address with: the network's when the address is in it, else that of a single host.
std::string MaskOf(const HostNetwork& network, const std::string& address);

/// Puts the network, or the loopback while none is known, into the SOME/IP binding of an entity of this host that names
/// no network. Daemons of several hosts then name one network for one entity.
void NameNetwork(const HostNetwork& network, EventRegisterInfo& info);
void NameNetwork(const HostNetwork& network, MethodRegisterInfo& info);
void NameNetwork(const HostNetwork& network, FieldRegisterInfo& info);
void NameNetwork(const HostNetwork& network, ServiceRegisterInfo& info);

}  // namespace qor::maintaind

#endif
