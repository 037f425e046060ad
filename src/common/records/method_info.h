// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COMMON_RECORDS_METHOD_INFO_H
#define QOR_COMMON_RECORDS_METHOD_INFO_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "src/common/records/binding.h"
#include "src/common/records/e2e.h"
#include "src/common/records/qos.h"
#include "src/common/records/serialize_config.h"
#include "src/common/records/visit.h"

namespace qor::maintaind {

/// The DDS binding of a method: a request topic and a reply topic.
struct DDSMethodInfo {
  std::uint16_t serviceId = 0;
  std::uint16_t instanceId = 0;
  std::string networkIp;   ///< empty: this host only
  std::string subnetMask;  ///< dotted
  std::uint16_t domainId = 0;
  std::string requestTopicName;
  std::string replyTopicName;
  std::uint32_t methodId = 0;
  std::vector<TransportQos> transports;
  std::uint32_t requestFragSize = 0;  ///< bytes of one fragment; 0: the transport's own
  std::uint32_t requestListSize = 0;  ///< samples; 0: the transport's own
  std::uint32_t requestPoolSize = 0;  ///< bytes; 0: the transport's own
  std::uint32_t replyFragSize = 0;
  std::uint32_t replyListSize = 0;
  std::uint32_t replyPoolSize = 0;
  QosInfo qos;
  E2EConfigInfo e2e;

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("serviceId", s.serviceId...);
    visit("instanceId", s.instanceId...);
    visit("networkIp", s.networkIp...);
    visit("subnetMask", s.subnetMask...);
    visit("domainId", s.domainId...);
    visit("requestTopicName", s.requestTopicName...);
    visit("replyTopicName", s.replyTopicName...);
    visit("methodId", s.methodId...);
    visit("transports", s.transports...);
    visit("requestFragSize", s.requestFragSize...);
    visit("requestListSize", s.requestListSize...);
    visit("requestPoolSize", s.requestPoolSize...);
    visit("replyFragSize", s.replyFragSize...);
    visit("replyListSize", s.replyListSize...);
    visit("replyPoolSize", s.replyPoolSize...);
    visit("qos", s.qos...);
    visit("e2e", s.e2e...);
  }
};

/// The SOME/IP binding of a method.
struct SomeipMethodInfo {
  std::uint16_t serviceId = 0;
  std::uint16_t instanceId = 0;
  std::string networkIp;
  std::string subnetMask;
  std::string networkName;
  std::uint16_t methodId = 0;
  std::uint32_t majorVersion = 1;
  std::uint32_t minorVersion = 0;
  std::uint16_t udpPort = 0;  ///< 0: not offered over UDP
  std::uint16_t tcpPort = 0;  ///< 0: not offered over TCP
  bool isReliable = false;
  bool isFireAndForget = false;
  std::string instanceShortName;
  E2EConfigInfo e2e;

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("serviceId", s.serviceId...);
    visit("instanceId", s.instanceId...);
    visit("networkIp", s.networkIp...);
    visit("subnetMask", s.subnetMask...);
    visit("networkName", s.networkName...);
    visit("methodId", s.methodId...);
    visit("majorVersion", s.majorVersion...);
    visit("minorVersion", s.minorVersion...);
    visit("udpPort", s.udpPort...);
    visit("tcpPort", s.tcpPort...);
    visit("isReliable", s.isReliable...);
    visit("isFireAndForget", s.isFireAndForget...);
    visit("instanceShortName", s.instanceShortName...);
    visit("e2e", s.e2e...);
  }
};

struct MethodInfo {
  DDSMethodInfo dds;
  SomeipMethodInfo someip;

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("dds", s.dds...);
    visit("someip", s.someip...);
  }
};

/// What an application registered for one method.
struct MethodRegisterInfo {
  std::string methodName;
  std::string applicationName;
  std::map<DriverType, MethodInfo> bindings;
  std::vector<std::string> inputTypeNames;  ///< one type definition name a request parameter
  std::string outputTypeName;               ///< empty: the method has no output
  std::string nodeName;
  std::uint16_t maintaindInstance = 0;
  SerializeConfig serializeConfig;
  std::string hostDomainName;
  std::string uuid;
  std::string resource;

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("methodName", s.methodName...);
    visit("applicationName", s.applicationName...);
    visit("bindings", s.bindings...);
    visit("inputTypeNames", s.inputTypeNames...);
    visit("outputTypeName", s.outputTypeName...);
    visit("nodeName", s.nodeName...);
    visit("maintaindInstance", s.maintaindInstance...);
    visit("serializeConfig", s.serializeConfig...);
    visit("hostDomainName", s.hostDomainName...);
    visit("uuid", s.uuid...);
    visit("resource", s.resource...);
  }
};

/// The unit that a daemon returns for methods.
struct MethodInfoWithPubSub : MethodRegisterInfo {
  std::vector<std::string> clients;  ///< node names
  std::string server;                ///< node name; empty: no server is known
  bool isServerOnline = false;
  std::string instanceShortName;

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    MethodRegisterInfo::Visit(visit, s...);
    visit("clients", s.clients...);
    visit("server", s.server...);
    visit("isServerOnline", s.isServerOnline...);
    visit("instanceShortName", s.instanceShortName...);
  }
};

}  // namespace qor::maintaind

#endif
