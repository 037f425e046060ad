// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COM_DEPLOYMENT_BINDINGS_H
#define QOR_COM_DEPLOYMENT_BINDINGS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/com/deployment_reader.h"
#include "src/common/records/event_info.h"
#include "src/common/records/field_info.h"
#include "src/common/records/method_info.h"
#include "src/common/records/service_info.h"

namespace qor::com {

/// The "dds" object of a service: what its entities need not repeat.
struct DdsServiceBinding {
  std::uint16_t serviceId = 0;
  std::uint16_t instanceId = 0;
  std::string networkIp;
  std::string subnetMask;
  std::uint16_t domainId = 0;
  std::uint32_t majorVersion = 1;
  std::uint32_t minorVersion = 0;
  std::vector<maintaind::TransportQos> transports = {maintaind::TransportQos::kShm, maintaind::TransportQos::kUdp};

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("serviceId", s.serviceId...);
    visit("instanceId", s.instanceId...);
    visit("networkIp", s.networkIp...);
    visit("subnetMask", s.subnetMask...);
    visit("domainId", s.domainId...);
    visit("majorVersion", s.majorVersion...);
    visit("minorVersion", s.minorVersion...);
    visit("transports", s.transports...);
  }
};

/// The "someip" object of a service.
struct SomeipServiceBinding {
  std::uint16_t serviceId = 0;
  std::uint16_t instanceId = 0;
  std::string networkIp;
  std::string subnetMask;
  std::string networkName;
  std::uint32_t majorVersion = 1;
  std::uint32_t minorVersion = 0;
  std::string instanceShortName;
  std::uint16_t udpPort = 0;
  std::uint16_t tcpPort = 0;

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("serviceId", s.serviceId...);
    visit("instanceId", s.instanceId...);
    visit("networkIp", s.networkIp...);
    visit("subnetMask", s.subnetMask...);
    visit("networkName", s.networkName...);
    visit("majorVersion", s.majorVersion...);
    visit("minorVersion", s.minorVersion...);
    visit("instanceShortName", s.instanceShortName...);
    visit("udpPort", s.udpPort...);
    visit("tcpPort", s.tcpPort...);
  }
};

/// The bindings of a service; a wire that the service does not name is empty.
struct ServiceBindings {
  std::optional<DdsServiceBinding> dds;
  std::optional<SomeipServiceBinding> someip;
};

ServiceBindings ReadServiceBindings(DeploymentReader& service);

/// Reads the "dds" and "someip" objects of an entity, on top of what its service says, and checks them. An entity with
/// neither is an error. What comes back is usable only when no error was added to the reader's faults.
std::map<maintaind::DriverType, maintaind::EventInfo> ReadEventBindings(DeploymentReader& event,
                                                                        const ServiceBindings& service,
                                                                        const std::string& dataTypeName);
std::map<maintaind::DriverType, maintaind::MethodInfo> ReadMethodBindings(DeploymentReader& method,
                                                                          const ServiceBindings& service);
std::map<maintaind::DriverType, maintaind::FieldInfo> ReadFieldBindings(DeploymentReader& field,
                                                                        const ServiceBindings& service,
                                                                        const std::string& dataTypeName);

}  // namespace qor::com

#endif
