// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COMMON_RECORDS_EVENT_INFO_H
#define QOR_COMMON_RECORDS_EVENT_INFO_H

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

/// The DATA_REPRESENTATION of DDS-XTypes.
enum class DataRepresentation : std::uint8_t { kXcdr1 = 0, kXml = 1, kXcdr2 = 2 };

/// Whether a DDS writer sends on the caller's thread.
enum class PublishMode : std::uint8_t { kSynchronous = 0, kAsynchronous = 1 };

/// What the samples of a DDS event are made of.
enum class DataMode : std::uint8_t { kNormal = 0, kRawBuffer = 1, kMbuf = 2 };

/// The DDS binding of an event: what a program needs to create a matching reader or writer.
struct DDSEventInfo {
  std::uint16_t serviceId = 0;
  std::uint16_t instanceId = 0;
  std::string networkIp;   ///< address of the publisher's interface; empty: this host only
  std::string subnetMask;  ///< dotted, as 255.255.255.0
  std::uint16_t domainId = 0;
  std::string topicName;
  std::string qosProfile;           ///< name of a QoS profile of the deployment; empty: the values below
  std::uint32_t maxSampleSize = 0;  ///< bytes; 0: not bounded
  std::uint32_t fragmentSize = 0;   ///< bytes of one RTPS fragment; 0: the transport's own
  DataRepresentation dataRepresentation = DataRepresentation::kXcdr1;
  PublishMode publishMode = PublishMode::kSynchronous;
  std::vector<TransportQos> transports;  ///< in order of preference
  std::uint32_t sampleListSize = 0;      ///< samples that the transport queues; 0: its own
  std::uint32_t samplePoolSize = 0;      ///< bytes of the transport's buffer pool; 0: its own
  std::string typeName;                  ///< registered type name, as DDS discovery announces it
  QosInfo qos;
  std::uint32_t transportPriority = 0;  ///< DDS TRANSPORT_PRIORITY
  E2EConfigInfo e2e;
  DataMode dataMode = DataMode::kNormal;
  bool isKeyed = false;             ///< the topic has a key
  bool isFieldNotifier = false;     ///< the event announces the changes of a field
  bool isForeign = false;           ///< seen in discovery only; its program knows no daemon
  bool isAccessControlled = false;  ///< publishing needs a right
  std::string partition;            ///< DDS PARTITION; several names separated by commas
  std::string participantGuid;      ///< GUID prefix of the publisher's participant, 24 hexadecimal digits
  std::uint32_t udpMulticastPort = 0;
  std::uint64_t sharedMemorySegmentSize = 0;  ///< bytes; 0: the transport's own
  std::string udpMulticastAddress;            ///< user data by multicast; empty: unicast
  std::vector<std::string> discoveryMulticastAddresses;
  bool isFshmMulticast = false;
  std::string fshmMulticastAddress;

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("serviceId", s.serviceId...);
    visit("instanceId", s.instanceId...);
    visit("networkIp", s.networkIp...);
    visit("subnetMask", s.subnetMask...);
    visit("domainId", s.domainId...);
    visit("topicName", s.topicName...);
    visit("qosProfile", s.qosProfile...);
    visit("maxSampleSize", s.maxSampleSize...);
    visit("fragmentSize", s.fragmentSize...);
    visit("dataRepresentation", s.dataRepresentation...);
    visit("publishMode", s.publishMode...);
    visit("transports", s.transports...);
    visit("sampleListSize", s.sampleListSize...);
    visit("samplePoolSize", s.samplePoolSize...);
    visit("typeName", s.typeName...);
    visit("qos", s.qos...);
    visit("transportPriority", s.transportPriority...);
    visit("e2e", s.e2e...);
    visit("dataMode", s.dataMode...);
    visit("isKeyed", s.isKeyed...);
    visit("isFieldNotifier", s.isFieldNotifier...);
    visit("isForeign", s.isForeign...);
    visit("isAccessControlled", s.isAccessControlled...);
    visit("partition", s.partition...);
    visit("participantGuid", s.participantGuid...);
    visit("udpMulticastPort", s.udpMulticastPort...);
    visit("sharedMemorySegmentSize", s.sharedMemorySegmentSize...);
    visit("udpMulticastAddress", s.udpMulticastAddress...);
    visit("discoveryMulticastAddresses", s.discoveryMulticastAddresses...);
    visit("isFshmMulticast", s.isFshmMulticast...);
    visit("fshmMulticastAddress", s.fshmMulticastAddress...);
  }
};

/// One unicast endpoint of a SOME/IP peer.
struct PeerUnicast {
  std::string address;
  std::uint16_t port = 0;
  bool isReliable = false;  ///< TCP

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("address", s.address...);
    visit("port", s.port...);
    visit("isReliable", s.isReliable...);
  }
};

/// One multicast endpoint of a SOME/IP event group.
struct PeerMulticast {
  std::string address;
  std::uint16_t port = 0;

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("address", s.address...);
    visit("port", s.port...);
  }
};

/// Where the peers of a SOME/IP event are, as service discovery told.
struct PeerEndpoint {
  std::vector<PeerUnicast> unicast;
  std::vector<PeerMulticast> multicast;

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("unicast", s.unicast...);
    visit("multicast", s.multicast...);
  }
};

/// Segmentation of large UDP messages (SOME/IP-TP).
struct SomeipTpInfo {
  bool isEnabled = false;
  std::uint32_t maxSegmentLength = 1392;  ///< payload bytes of one segment, a multiple of 16
  std::uint32_t separationTimeUs = 0;     ///< pause between two segments, microseconds

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("isEnabled", s.isEnabled...);
    visit("maxSegmentLength", s.maxSegmentLength...);
    visit("separationTimeUs", s.separationTimeUs...);
  }
};

/// The SOME/IP binding of an event.
struct SomeipEventInfo {
  std::uint16_t serviceId = 0;
  std::uint16_t instanceId = 0;
  std::string networkIp;    ///< address of the offering interface; 127.0.0.1: this host only
  std::string subnetMask;   ///< dotted
  std::string networkName;  ///< name of the network in the deployment
  std::uint32_t majorVersion = 1;
  std::uint16_t eventId = 0;
  std::vector<std::uint16_t> eventGroupIds;
  std::string instanceShortName;  ///< shown in square brackets after the event name
  std::uint16_t udpPort = 0;      ///< 0: not offered over UDP
  std::uint32_t minorVersion = 0;
  std::uint16_t tcpPort = 0;  ///< 0: not offered over TCP
  bool isReliable = false;    ///< the event is sent over TCP
  E2EConfigInfo e2e;
  std::vector<std::uint32_t> clientIds;  ///< client ids that the daemon handed out for the event
  SomeipTpInfo tp;
  bool isFieldNotifier = false;  ///< the event announces the changes of a field
  std::string offerState;        ///< state of the offer: offered, stopped or expired; empty: not known
  std::string multicastAddress;  ///< empty: unicast
  std::string offeringHost;      ///< address the offer came from
  PeerEndpoint peers;
  std::vector<std::uint32_t> ttls;  ///< seconds, of the offer and then of each subscription

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("serviceId", s.serviceId...);
    visit("instanceId", s.instanceId...);
    visit("networkIp", s.networkIp...);
    visit("subnetMask", s.subnetMask...);
    visit("networkName", s.networkName...);
    visit("majorVersion", s.majorVersion...);
    visit("eventId", s.eventId...);
    visit("eventGroupIds", s.eventGroupIds...);
    visit("instanceShortName", s.instanceShortName...);
    visit("udpPort", s.udpPort...);
    visit("minorVersion", s.minorVersion...);
    visit("tcpPort", s.tcpPort...);
    visit("isReliable", s.isReliable...);
    visit("e2e", s.e2e...);
    visit("clientIds", s.clientIds...);
    visit("tp", s.tp...);
    visit("isFieldNotifier", s.isFieldNotifier...);
    visit("offerState", s.offerState...);
    visit("multicastAddress", s.multicastAddress...);
    visit("offeringHost", s.offeringHost...);
    visit("peers", s.peers...);
    visit("ttls", s.ttls...);
  }
};

/// The bindings of one event: which of the two parts is meant follows from the key it is stored under.
struct EventInfo {
  DDSEventInfo dds;
  SomeipEventInfo someip;

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("dds", s.dds...);
    visit("someip", s.someip...);
  }
};

/// What an application registered for one event.
struct EventRegisterInfo {
  std::string eventName;
  std::string applicationName;
  std::map<DriverType, EventInfo> bindings;
  std::string dataTypeName;             ///< name of the payload's type definition; empty: not known
  std::string nodeName;                 ///< node that registered the event
  std::uint16_t maintaindInstance = 0;  ///< instance number of the daemon that holds the registration
  SerializeConfig serializeConfig;
  std::string hostDomainName;  ///< "SEA", "GEA" or "ANDROID"
  bool isFieldNotifier = false;
  std::string uuid;      ///< decimal; tells events of one name apart; empty: the name is enough
  std::string resource;  ///< name of the access-control resource; empty: none
  bool isLatencyMeasured = false;

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("eventName", s.eventName...);
    visit("applicationName", s.applicationName...);
    visit("bindings", s.bindings...);
    visit("dataTypeName", s.dataTypeName...);
    visit("nodeName", s.nodeName...);
    visit("maintaindInstance", s.maintaindInstance...);
    visit("serializeConfig", s.serializeConfig...);
    visit("hostDomainName", s.hostDomainName...);
    visit("isFieldNotifier", s.isFieldNotifier...);
    visit("uuid", s.uuid...);
    visit("resource", s.resource...);
    visit("isLatencyMeasured", s.isLatencyMeasured...);
  }
};

/// The unit that a daemon returns for events.
struct EventInfoWithPubSub : EventRegisterInfo {
  std::vector<std::string> subscribers;  ///< node names
  std::string publisher;                 ///< node name; empty: no publisher is known
  bool isPublisherOnline = false;
  std::string instanceShortName;

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    EventRegisterInfo::Visit(visit, s...);
    visit("subscribers", s.subscribers...);
    visit("publisher", s.publisher...);
    visit("isPublisherOnline", s.isPublisherOnline...);
    visit("instanceShortName", s.instanceShortName...);
  }
};

}  // namespace qor::maintaind

#endif
