// SPDX-License-Identifier: Apache-2.0
#include "src/common/event_entry.h"

#include <algorithm>
#include <concepts>
#include <cstdint>
#include <string_view>

namespace qor::common {
namespace {

using maintaind::DriverType;
using maintaind::EventInfoWithPubSub;
using maintaind::TransportQos;
using qorevent::QorEventInfo;

const maintaind::EventInfo& BindingOf(const EventInfoWithPubSub& record, DriverType driver) {
  static const maintaind::EventInfo kEmpty;
  const auto found = record.bindings.find(driver);
  return found != record.bindings.end() ? found->second : kEmpty;
}

/// Collects attributes; numbers of 0, empty texts and flags that are off are left out.
class AttributeList {
 public:
  void Add(std::string_view label, const std::string& text) {
    if (!text.empty()) {
      list_.emplace_back(label, text);
    }
  }
  template <std::unsigned_integral T>
  void Add(std::string_view label, T number) {
    if (number != 0) {
      list_.emplace_back(label, std::to_string(number));
    }
  }
  void AddIf(bool isSet, std::string_view label) {
    if (isSet) {
      list_.emplace_back(label, "yes");
    }
  }
  template <class T>
  void AddList(std::string_view label, const std::vector<T>& values) {
    std::string text;
    for (const T& value : values) {
      text += text.empty() ? "" : ", ";
      if constexpr (std::unsigned_integral<T>) {
        text += std::to_string(value);
      } else {
        text += value;
      }
    }
    Add(label, text);
  }
  void AddE2e(const maintaind::E2EConfigInfo& e2e) {
    if (e2e.isProtected) {
      list_.emplace_back("E2E profile", std::to_string(e2e.profile));
      list_.emplace_back("E2E data id", std::to_string(e2e.dataId));
    }
  }
  Attributes Take() { return std::move(list_); }

 private:
  Attributes list_;
};

const char* TextOf(maintaind::DurabilityQos durability) {
  switch (durability) {
    case maintaind::DurabilityQos::kVolatile:
      return "VOLATILE";
    case maintaind::DurabilityQos::kTransientLocal:
      return "TRANSIENT_LOCAL";
    case maintaind::DurabilityQos::kTransient:
      return "TRANSIENT";
    case maintaind::DurabilityQos::kPersistent:
      return "PERSISTENT";
  }
  return "UNKNOWN";
}

const char* TextOf(maintaind::ReliabilityKind reliability) {
  switch (reliability) {
    case maintaind::ReliabilityKind::kBestEffort:
      return "BEST_EFFORT";
    case maintaind::ReliabilityKind::kReliable:
      return "RELIABLE";
  }
  return "UNKNOWN";
}

std::string TextOf(const maintaind::HistoryQos& history) {
  switch (history.kind) {
    case maintaind::HistoryKind::kKeepLast:
      return "KEEP_LAST(" + std::to_string(history.depth) + ")";
    case maintaind::HistoryKind::kKeepAll:
      return "KEEP_ALL";
  }
  return "UNKNOWN";
}

const char* TextOf(maintaind::DataRepresentation representation) {
  switch (representation) {
    case maintaind::DataRepresentation::kXcdr1:
      return "XCDR1";
    case maintaind::DataRepresentation::kXml:
      return "XML";
    case maintaind::DataRepresentation::kXcdr2:
      return "XCDR2";
  }
  return "UNKNOWN";
}

const char* TextOf(maintaind::PublishMode mode) {
  switch (mode) {
    case maintaind::PublishMode::kSynchronous:
      return "SYNCHRONOUS";
    case maintaind::PublishMode::kAsynchronous:
      return "ASYNCHRONOUS";
  }
  return "UNKNOWN";
}

const char* TextOf(maintaind::DataMode mode) {
  switch (mode) {
    case maintaind::DataMode::kNormal:
      return "NORMAL";
    case maintaind::DataMode::kRawBuffer:
      return "RAW_BUFFER";
    case maintaind::DataMode::kMbuf:
      return "MBUF";
  }
  return "UNKNOWN";
}

/// What does not depend on the binding. `eventInfo` starts anew.
void SetCommonPart(const EventInfoWithPubSub& record, const char* binding, QorEventInfo& eventInfo) {
  eventInfo = QorEventInfo{};
  eventInfo.displayName = record.eventName;
  eventInfo.eventName = record.eventName;
  eventInfo.binding = binding;
  eventInfo.dataTypeName = record.dataTypeName;
  eventInfo.applicationName = record.applicationName;
  eventInfo.hostDomainName = record.hostDomainName;
  eventInfo.instanceShortName = record.instanceShortName;
  eventInfo.uuid = record.uuid;
  eventInfo.publisher = record.publisher;
  eventInfo.isPublisherOnline = record.isPublisherOnline;
  eventInfo.subscribers = record.subscribers;
}

/// What both bindings have.
template <class Part>
void SetAddress(const Part& part, QorEventInfo& eventInfo) {
  eventInfo.serviceId = part.serviceId;
  eventInfo.instanceId = part.instanceId;
  eventInfo.networkIp = part.networkIp;
  eventInfo.subnetMask = part.subnetMask;
}

}  // namespace

void SetDDSEventInfo(const EventInfoWithPubSub& record, QorEventInfo& eventInfo) {
  const maintaind::DDSEventInfo& dds = BindingOf(record, DriverType::kDds).dds;
  SetCommonPart(record, "DDS", eventInfo);
  SetAddress(dds, eventInfo);
  eventInfo.domainId = dds.domainId;
  eventInfo.topicName = dds.topicName;
  for (const TransportQos transport : dds.transports) {
    eventInfo.transports.emplace_back(maintaind::TransportQosText(transport));
  }
  eventInfo.attributes = GetDDSAttributeList(record);
}

void SetSOMEIPEventInfo(const EventInfoWithPubSub& record, QorEventInfo& eventInfo) {
  const maintaind::SomeipEventInfo& someip = BindingOf(record, DriverType::kSomeip).someip;
  SetCommonPart(record, "SOMEIP", eventInfo);
  SetAddress(someip, eventInfo);
  if (!someip.instanceShortName.empty()) {
    eventInfo.displayName += "[" + someip.instanceShortName + "]";
    eventInfo.instanceShortName = someip.instanceShortName;
  }
  eventInfo.eventId = someip.eventId;
  eventInfo.transports.emplace_back(someip.isReliable ? "TCP" : "UDP");
  eventInfo.attributes = GetSOMEIPAttributeList(record);
}

void AppendEntries(const EventInfoWithPubSub& record, std::vector<QorEventInfo>& entries) {
  if (record.bindings.contains(DriverType::kDds)) {
    SetDDSEventInfo(record, entries.emplace_back());
  }
  if (record.bindings.contains(DriverType::kSomeip)) {
    SetSOMEIPEventInfo(record, entries.emplace_back());
  }
}

Attributes GetDDSAttributeList(const EventInfoWithPubSub& record) {
  const maintaind::DDSEventInfo& dds = BindingOf(record, DriverType::kDds).dds;
  AttributeList list;
  list.Add("QoS profile", dds.qosProfile);
  list.Add("Max sample size", dds.maxSampleSize);
  list.Add("Fragment size", dds.fragmentSize);
  list.Add("Data representation", TextOf(dds.dataRepresentation));
  list.Add("Publish mode", TextOf(dds.publishMode));
  list.Add("Sample list size", dds.sampleListSize);
  list.Add("Sample pool size", dds.samplePoolSize);
  list.Add("DDS type", dds.typeName);
  list.Add("Durability", TextOf(dds.qos.durability));
  list.Add("History", TextOf(dds.qos.history));
  list.Add("Reliability", TextOf(dds.qos.reliability));
  list.Add("Transport priority", dds.transportPriority);
  list.AddE2e(dds.e2e);
  list.Add("Data mode", TextOf(dds.dataMode));
  list.AddIf(dds.isKeyed, "Keyed");
  list.AddIf(dds.isFieldNotifier, "Field notifier");
  list.AddIf(dds.isForeign, "Foreign");
  list.AddIf(dds.isAccessControlled, "Access controlled");
  list.Add("Partition", dds.partition);
  list.Add("Participant", dds.participantGuid);
  list.Add("UDP multicast port", dds.udpMulticastPort);
  list.Add("Shared memory segment size", dds.sharedMemorySegmentSize);
  list.Add("UDP multicast address", dds.udpMulticastAddress);
  list.AddList("Discovery multicast addresses", dds.discoveryMulticastAddresses);
  list.AddIf(dds.isFshmMulticast, "FSHM multicast");
  list.Add("FSHM multicast address", dds.fshmMulticastAddress);
  return list.Take();
}

Attributes GetSOMEIPAttributeList(const EventInfoWithPubSub& record) {
  const maintaind::SomeipEventInfo& someip = BindingOf(record, DriverType::kSomeip).someip;
  AttributeList list;
  list.Add("Network name", someip.networkName);
  list.Add("Version", std::to_string(someip.majorVersion) + "." + std::to_string(someip.minorVersion));
  list.AddList("Event groups", someip.eventGroupIds);
  list.Add("UDP port", someip.udpPort);
  list.Add("TCP port", someip.tcpPort);
  list.AddE2e(someip.e2e);
  list.AddList("Client ids", someip.clientIds);
  list.Add("TP segment length", someip.tp.isEnabled ? someip.tp.maxSegmentLength : 0U);
  list.AddIf(someip.isFieldNotifier, "Field notifier");
  list.Add("Offer state", someip.offerState);
  list.Add("Multicast address", someip.multicastAddress);
  list.Add("Offering host", someip.offeringHost);
  list.AddList("Time to live", someip.ttls);
  return list.Take();
}

bool IsUsingDSHM(const std::vector<TransportQos>& transports) {
  return std::ranges::any_of(transports, [](TransportQos transport) {
    return transport == TransportQos::kDshm || transport == TransportQos::kDshmMbuf;
  });
}

}  // namespace qor::common
