// SPDX-License-Identifier: Apache-2.0
#include "platform/com/deployment_checks.h"

#include <arpa/inet.h>

#include <bit>
#include <string>

#include "platform/com/e2e/header_format.h"

namespace qor::com {
namespace {

// RTPS, mapping of domains to UDP ports: the last domain whose ports fit into 16 bits.
constexpr std::uint16_t kLastDomain = 232;
// SOME/IP: 0 and 0xFFFF stand for no and any service or instance; the highest bit tells events from methods.
constexpr std::uint16_t kAny = 0xFFFF;
constexpr std::uint16_t kFirstEvent = 0x8000;
constexpr std::uint16_t kLastEvent = 0xFFFE;
constexpr std::uint16_t kLastMethod = 0x7FFF;

/// Checks the values of one binding object. An error stands at the value's key; where the value is inherited or absent,
/// at the object.
class BindingCheck {
 public:
  explicit BindingCheck(DeploymentReader& reader) : reader_(reader) {}

  void Expect(bool isGood, std::string_view key, const std::string& expected) {
    if (!isGood) {
      const bool isHere = reader_.Find(key) != nullptr;
      reader_.Faults().Error(isHere ? reader_.PointerOf(key) : reader_.Pointer(),
                             isHere ? expected : "\"" + std::string(key) + "\": " + expected);
    }
  }

  void Network(const std::string& ip, const std::string& mask) {
    Expect(ip.empty() || IsIp(ip), "networkIp", "expected an IPv4 or IPv6 address");
    Expect(mask.empty() || IsMask(mask), "subnetMask", "expected a mask such as \"255.255.255.0\"");
  }
  void Multicast(std::string_view key, const std::string& address) {
    Expect(address.empty() || IsIp(address), key, "expected an IPv4 or IPv6 address");
  }

  template <class Info>
  void Dds(const Info& info) {
    Network(info.networkIp, info.subnetMask);
    Expect(info.domainId <= kLastDomain, "domain", "expected a number from 0 to " + std::to_string(kLastDomain));
    Expect(!info.transports.empty(), "transports", "expected at least one transport");
    if constexpr (requires { info.qos; }) {
      Expect(info.qos.history.kind == maintaind::HistoryKind::kKeepAll || info.qos.history.depth > 0, "qos",
             "expected a history depth of at least 1");
    }
  }

  template <class Info>
  void SomeipIds(const Info& info) {
    Network(info.networkIp, info.subnetMask);
    const auto isId = [](std::uint16_t id) { return id != 0 && id != kAny; };
    Expect(isId(info.serviceId), "serviceId", "expected a number from 1 to 65534");
    Expect(isId(info.instanceId), "instanceId", "expected a number from 1 to 65534");
  }
  template <class Info>
  void SomeipPorts(const Info& info) {
    Expect(!info.isReliable || info.tcpPort != 0, "tcpPort", "expected the port of what is sent over TCP");
    Expect(info.isReliable || info.udpPort != 0, "udpPort", "expected the port of what is sent over UDP");
  }

  void E2e(const maintaind::E2EConfigInfo& config) {
    const auto fault = e2e::ConfigFault(config);
    Expect(!fault, "e2e", fault.value_or(""));
  }

 private:
  static bool IsIp(const std::string& text) {
    in6_addr address{};
    return ::inet_pton(AF_INET, text.c_str(), &address) == 1 || ::inet_pton(AF_INET6, text.c_str(), &address) == 1;
  }
  static bool IsMask(const std::string& text) {
    in_addr address{};
    if (::inet_pton(AF_INET, text.c_str(), &address) != 1) {
      return false;
    }
    const std::uint32_t mask = ntohl(address.s_addr);
    return std::countl_one(mask) + std::countr_zero(mask) == 32;
  }

  DeploymentReader& reader_;
};

}  // namespace

void CheckBinding(DeploymentReader& reader, const maintaind::DDSEventInfo& info) {
  BindingCheck check(reader);
  check.Dds(info);
  check.E2e(info.e2e);
  check.Expect(!info.topicName.empty(), "topic", "expected the name of the DDS topic");
  check.Expect(!info.typeName.empty(), "typeName", "expected a type name, because the event has no \"type\"");
  check.Multicast("udpMulticastAddress", info.udpMulticastAddress);
  for (const std::string& address : info.discoveryMulticastAddresses) {
    check.Multicast("discoveryMulticastAddresses", address);
  }
}

void CheckBinding(DeploymentReader& reader, const maintaind::SomeipEventInfo& info) {
  // SOME/IP-TP: the offset of a segment counts units of 16 bytes.
  constexpr std::uint32_t kTpUnit = 16;
  constexpr std::uint32_t kMaxSegment = 1392;
  BindingCheck check(reader);
  check.SomeipIds(info);
  check.SomeipPorts(info);
  check.E2e(info.e2e);
  check.Multicast("multicastAddress", info.multicastAddress);
  check.Expect(info.eventId >= kFirstEvent && info.eventId <= kLastEvent, "eventId",
               "expected a number from \"0x8000\" to \"0xFFFE\"");
  check.Expect(!info.eventGroupIds.empty(), "eventGroups", "expected at least one event group");
  for (const std::uint16_t group : info.eventGroupIds) {
    check.Expect(group != 0 && group != kAny, "eventGroups", "expected numbers from 1 to 65534");
  }
  check.Expect(info.tp.maxSegmentLength >= kTpUnit && info.tp.maxSegmentLength <= kMaxSegment &&
                   info.tp.maxSegmentLength % kTpUnit == 0,
               "tp", "expected maxSegmentLength to be a multiple of 16 from 16 to 1392");
}

void CheckBinding(DeploymentReader& reader, const maintaind::DDSMethodInfo& info) {
  BindingCheck check(reader);
  check.Dds(info);
  check.E2e(info.e2e);
  check.Expect(!info.requestTopicName.empty(), "requestTopic", "expected the name of the DDS topic of the requests");
  check.Expect(!info.replyTopicName.empty(), "replyTopic", "expected the name of the DDS topic of the replies");
}

void CheckBinding(DeploymentReader& reader, const maintaind::SomeipMethodInfo& info) {
  BindingCheck check(reader);
  check.SomeipIds(info);
  check.SomeipPorts(info);
  check.E2e(info.e2e);
  check.Expect(info.methodId != 0 && info.methodId <= kLastMethod, "methodId",
               "expected a number from \"0x0001\" to \"0x7FFF\"");
}

void CheckServiceBinding(DeploymentReader& service, const DdsServiceBinding& binding) {
  DeploymentReader reader(*service.Find("dds"), service.PointerOf("dds"), service.Faults());
  BindingCheck(reader).Dds(binding);
}

void CheckServiceBinding(DeploymentReader& service, const SomeipServiceBinding& binding) {
  DeploymentReader reader(*service.Find("someip"), service.PointerOf("someip"), service.Faults());
  BindingCheck(reader).SomeipIds(binding);
}

}  // namespace qor::com
