// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_MAINTAIND_DAEMON_FOREIGN_OFFER_H
#define QOR_MAINTAIND_DAEMON_FOREIGN_OFFER_H

#include <string>

#include "platform/maintaind/daemon/host_network.h"
#include "platform/someip/sd/services.h"
#include "src/common/records/event_info.h"
#include "src/common/records/service_info.h"

/// How a service that another host offers over SOME/IP, or offered until lately, is listed.
namespace qor::maintaind {

/// What stands for the programs of a host: "someip:" and its address.
std::string ForeignNodeName(someip::Ipv4Address host);

/// A service that no deployment describes: it is called "service_0x1234_0x0001" by its service and its instance id.
ServiceRegisterInfo UndescribedService(const someip::sd::ServiceKey& key);

/// What is described, with what the offer says of it. Only the SOME/IP binding is left. `own` tells which mask goes
/// with the addresses of the offer.
ServiceRegisterInfo ForeignService(const ServiceRegisterInfo& described, const someip::sd::RemoteService& offer,
                                   const HostNetwork& own);
EventRegisterInfo ForeignEvent(const EventRegisterInfo& described, const someip::sd::RemoteService& offer,
                               const HostNetwork& own);

}  // namespace qor::maintaind

#endif
