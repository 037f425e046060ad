// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COMMON_RECORDS_SERVICE_INFO_H
#define QOR_COMMON_RECORDS_SERVICE_INFO_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "src/common/records/binding.h"
#include "src/common/records/visit.h"

namespace qor::maintaind {

/// One binding of a service.
struct ServiceInfo {
  std::uint16_t serviceId = 0;
  std::uint16_t instanceId = 0;
  std::string networkIp;
  std::string subnetMask;
  std::uint16_t domainId = 0;  ///< DDS only
  std::uint32_t majorVersion = 1;
  std::uint32_t minorVersion = 0;
  std::string offerState;  ///< SOME/IP only: offered, stopped or expired; empty: not known
  std::uint32_t ttl = 0;   ///< SOME/IP only: seconds of the last offer

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("serviceId", s.serviceId...);
    visit("instanceId", s.instanceId...);
    visit("networkIp", s.networkIp...);
    visit("subnetMask", s.subnetMask...);
    visit("domainId", s.domainId...);
    visit("majorVersion", s.majorVersion...);
    visit("minorVersion", s.minorVersion...);
    visit("offerState", s.offerState...);
    visit("ttl", s.ttl...);
  }
};

/// What an application registered for one service.
struct ServiceRegisterInfo {
  std::string serviceName;
  std::string applicationName;
  std::map<DriverType, ServiceInfo> bindings;
  std::vector<std::string> eventNames;
  std::vector<std::string> methodNames;
  std::vector<std::string> fieldNames;
  std::string nodeName;
  std::uint16_t maintaindInstance = 0;
  std::string hostDomainName;
  std::string uuid;

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("serviceName", s.serviceName...);
    visit("applicationName", s.applicationName...);
    visit("bindings", s.bindings...);
    visit("eventNames", s.eventNames...);
    visit("methodNames", s.methodNames...);
    visit("fieldNames", s.fieldNames...);
    visit("nodeName", s.nodeName...);
    visit("maintaindInstance", s.maintaindInstance...);
    visit("hostDomainName", s.hostDomainName...);
    visit("uuid", s.uuid...);
  }
};

/// The unit that a daemon returns for services.
struct ServiceInfoWithPubSub : ServiceRegisterInfo {
  std::vector<std::string> clients;  ///< node names
  std::string server;                ///< node name; empty: no server is known
  bool isServerOnline = false;
  std::string instanceShortName;

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    ServiceRegisterInfo::Visit(visit, s...);
    visit("clients", s.clients...);
    visit("server", s.server...);
    visit("isServerOnline", s.isServerOnline...);
    visit("instanceShortName", s.instanceShortName...);
  }
};

}  // namespace qor::maintaind

#endif
