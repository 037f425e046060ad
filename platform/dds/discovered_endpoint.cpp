// SPDX-License-Identifier: Apache-2.0
#include "platform/dds/discovered_endpoint.h"

#include <fastrtps/utils/IPLocator.h>

#include <algorithm>

#include "platform/dds/guid_text.h"

namespace qor::dds {
namespace {

namespace fdds = eprosima::fastdds::dds;
namespace rtps = eprosima::fastrtps::rtps;
using maintaind::TransportQos;

void AddTransport(std::vector<TransportQos>& transports, TransportQos transport) {
  if (std::ranges::find(transports, transport) == transports.end()) {
    transports.push_back(transport);
  }
}

std::string Joined(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) {
    text += text.empty() ? name : "," + name;
  }
  return text;
}

maintaind::DurabilityQos DurabilityOf(fdds::DurabilityQosPolicyKind_t kind) {
  switch (kind) {
    case fdds::TRANSIENT_LOCAL_DURABILITY_QOS:
      return maintaind::DurabilityQos::kTransientLocal;
    case fdds::TRANSIENT_DURABILITY_QOS:
      return maintaind::DurabilityQos::kTransient;
    case fdds::PERSISTENT_DURABILITY_QOS:
      return maintaind::DurabilityQos::kPersistent;
    default:
      return maintaind::DurabilityQos::kVolatile;
  }
}

/// The first one announced is what a writer sends. Nothing announced means XCDR1 (DDS-XTypes).
maintaind::DataRepresentation FirstOf(const std::vector<fdds::DataRepresentationId_t>& announced) {
  if (announced.empty()) {
    return maintaind::DataRepresentation::kXcdr1;
  }
  switch (announced.front()) {
    case fdds::XML_DATA_REPRESENTATION:
      return maintaind::DataRepresentation::kXml;
    case fdds::XCDR2_DATA_REPRESENTATION:
      return maintaind::DataRepresentation::kXcdr2;
    default:
      return maintaind::DataRepresentation::kXcdr1;
  }
}

maintaind::DataRepresentation RepresentationOf(const fdds::WriterQos& qos) {
  return FirstOf(qos.representation.m_value);
}
maintaind::DataRepresentation RepresentationOf(const fdds::ReaderQos& qos) {
  return FirstOf(qos.representation.m_value);
}

/// Writer and reader announce the same things under the same names. History is not announced and keeps its default.
template <class ProxyData>
DiscoveredEndpoint Read(const ProxyData& data, bool isWriter) {
  DiscoveredEndpoint endpoint;
  endpoint.guid = GuidText(data.guid());
  endpoint.participantGuid = GuidText(data.guid().guidPrefix);
  endpoint.isWriter = isWriter;
  endpoint.topicName = data.topicName().to_string();
  endpoint.typeName = data.typeName().to_string();
  endpoint.isKeyed = data.topicKind() == rtps::WITH_KEY;
  endpoint.partition = Joined(data.m_qos.m_partition.getNames());
  endpoint.qos.durability = DurabilityOf(data.m_qos.m_durability.kind);
  endpoint.qos.reliability = data.m_qos.m_reliability.kind == fdds::RELIABLE_RELIABILITY_QOS
                                 ? maintaind::ReliabilityKind::kReliable
                                 : maintaind::ReliabilityKind::kBestEffort;
  endpoint.dataRepresentation = RepresentationOf(data.m_qos);
  ReachableBy reachable = ReadLocators(data.remote_locators());
  endpoint.transports = std::move(reachable.transports);
  endpoint.address = std::move(reachable.address);
  return endpoint;
}

}  // namespace

ReachableBy ReadLocators(const rtps::RemoteLocatorList& locators) {
  ReachableBy result;
  for (const rtps::Locator_t& locator : locators.unicast) {
    if (locator.kind == LOCATOR_KIND_SHM) {
      AddTransport(result.transports, TransportQos::kShm);
    } else if (locator.kind == LOCATOR_KIND_UDPv4) {
      AddTransport(result.transports, TransportQos::kUdp);
      if (result.address.empty()) {
        result.address = rtps::IPLocator::toIPv4string(locator);
      }
    }
  }
  return result;
}

DiscoveredEndpoint ReadEndpoint(const rtps::WriterProxyData& writer) { return Read(writer, true); }

DiscoveredEndpoint ReadEndpoint(const rtps::ReaderProxyData& reader) { return Read(reader, false); }

}  // namespace qor::dds
