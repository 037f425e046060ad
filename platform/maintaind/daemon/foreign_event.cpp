// SPDX-License-Identifier: Apache-2.0
#include "platform/maintaind/daemon/foreign_event.h"

#include <algorithm>
#include <cctype>

#include "src/common/records/foreign_node.h"

namespace qor::maintaind {
namespace {

constexpr std::size_t kMaxParticipantName = 256;
/// Where the common DDS implementations put what differs between two programs of one host: before it stand the vendor
/// and the host, behind it a number that counts inside the program.
constexpr std::size_t kProgramDigits = 8;
constexpr std::size_t kProgramDigitsAt = 8;

}  // namespace

std::string EventNameOfTopic(const std::string& topicName) {
  std::string name = topicName;
  std::replace_if(
      name.begin(), name.end(),
      [](char c) { return std::isalnum(static_cast<unsigned char>(c)) == 0 && c != '_' && c != '/'; }, '_');
  return name.starts_with('/') ? name : "/" + name;
}

std::string ForeignNodeName(const dds::DiscoveredEndpoint& endpoint) {
  std::string name = endpoint.participantName.substr(0, kMaxParticipantName);
  std::replace_if(
      name.begin(), name.end(), [](char c) { return std::iscntrl(static_cast<unsigned char>(c)) != 0; }, '_');
  const std::string& guid = endpoint.participantGuid;
  return std::string(kForeignDdsNode) + (name.empty() ? "unnamed" : name) + ":" +
         guid.substr(std::min(guid.size(), kProgramDigitsAt), kProgramDigits);
}

EventRegisterInfo ForeignEvent(const dds::DiscoveredEndpoint& endpoint) {
  EventRegisterInfo event;
  event.eventName = EventNameOfTopic(endpoint.topicName);
  event.applicationName = "dds";
  DDSEventInfo& dds = event.bindings[DriverType::kDds].dds;
  dds.networkIp = endpoint.address;
  dds.domainId = endpoint.domainId;
  dds.topicName = endpoint.topicName;
  dds.transports = endpoint.transports;
  dds.typeName = endpoint.typeName;
  dds.dataRepresentation = endpoint.dataRepresentation;
  dds.qos = endpoint.qos;
  dds.isKeyed = endpoint.isKeyed;
  dds.isForeign = true;
  dds.partition = endpoint.partition;
  dds.participantGuid = endpoint.participantGuid;
  return event;
}

}  // namespace qor::maintaind
