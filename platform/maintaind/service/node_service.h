// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_MAINTAIND_SERVICE_NODE_SERVICE_H
#define QOR_MAINTAIND_SERVICE_NODE_SERVICE_H

#include <cstdint>
#include <vector>

#include "platform/maintaind/service/tools_service.h"
#include "src/common/records/registration.h"
#include "src/common/records/remote_daemon.h"
#include "src/common/records/someip_link.h"

namespace qor::maintaind {

/// The service through which an application registers with its daemon, on the same socket as the tools service and in
/// the same form. What a connection registered goes offline when the connection closes; after a reconnection the
/// application registers everything again. A refused registration is answered with an error whose payload is the
/// reason.
struct NodeService {
  static constexpr std::uint16_t ServiceIdentifier = 0xF0A2;
};

namespace node_operation {

/// Must come first; the daemon refuses another protocol version.
using Hello = ToolsOperation<0x0001, ApplicationHello, DaemonHello>;
/// A node of the application, by name.
using RegisterNode = ToolsOperation<0x0002, std::string, NoArgument>;
using UnregisterNode = ToolsOperation<0x0003, std::string, NoArgument>;
using RegisterEvent = ToolsOperation<0x0004, EventRegistration, NoArgument>;
using RegisterMethod = ToolsOperation<0x0005, MethodRegistration, NoArgument>;
using RegisterField = ToolsOperation<0x0006, FieldRegistration, NoArgument>;
using RegisterService = ToolsOperation<0x0007, ServiceRegistration, NoArgument>;
/// By the id of the registration.
using UnregisterEntity = ToolsOperation<0x0008, std::uint32_t, NoArgument>;
/// A SOME/IP service instance that the application provides. Given again, it replaces what was offered.
using OfferService = ToolsOperation<0x0009, ServiceOffer, NoArgument>;
using StopOfferService = ToolsOperation<0x000A, ServiceIndex, NoArgument>;
/// From now on the daemon sends kServiceState for this instance, first of all at once.
using FindService = ToolsOperation<0x000B, ServiceIndex, NoArgument>;
using StopFindService = ToolsOperation<0x000C, ServiceIndex, NoArgument>;
/// The provider, now or later, is told with kSubscriberChange.
using SubscribeEventgroup = ToolsOperation<0x000D, EventgroupSubscription, NoArgument>;
using UnsubscribeEventgroup = ToolsOperation<0x000E, EventgroupSubscription, NoArgument>;
/// From now on the daemon sends kRemoteDaemons with every change. For tools too, so that it needs no Hello.
using WatchRemoteDaemons = ToolsOperation<0x000F, NoArgument, std::vector<RemoteDaemon>>;

}  // namespace node_operation

/// What the daemon sends unasked, as notifications.
namespace node_event {

inline constexpr std::uint16_t kServiceState = 0x8001;      ///< ServiceState
inline constexpr std::uint16_t kSubscriberChange = 0x8002;  ///< SubscriberChange
inline constexpr std::uint16_t kRemoteDaemons = 0x8003;     ///< std::vector<RemoteDaemon>, all of them

}  // namespace node_event

}  // namespace qor::maintaind

#endif
