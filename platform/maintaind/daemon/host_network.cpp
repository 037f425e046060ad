// SPDX-License-Identifier: Apache-2.0
#include "platform/maintaind/daemon/host_network.h"

#include "platform/dds/host_interfaces.h"
#include "platform/someip/endpoint.h"

namespace qor::maintaind {
namespace {

using someip::Ipv4Address;

constexpr const char* kSingleHost = "255.255.255.255";

/// `part` is whatever has the members networkIp and subnetMask.
template <class Part>
void NameNetworkOf(const HostNetwork& network, Part& part) {
  if (part.networkIp.empty()) {
    part.networkIp = network.ip.empty() ? dds::kLoopbackAddress : network.ip;
    part.subnetMask = network.ip.empty() ? dds::kLoopbackMask : network.subnetMask;
  }
}

}  // namespace

std::string MaskOf(const HostNetwork& network, const std::string& address) {
  const auto own = Ipv4Address::FromText(network.ip);
  const auto mask = Ipv4Address::FromText(network.subnetMask);
  const auto other = Ipv4Address::FromText(address);
  const bool isInNetwork = own && mask && other && (own->value & mask->value) == (other->value & mask->value);
  return isInNetwork ? network.subnetMask : kSingleHost;
}

void NameNetwork(const HostNetwork& network, EventRegisterInfo& info) {
  if (const auto binding = info.bindings.find(DriverType::kSomeip); binding != info.bindings.end()) {
    NameNetworkOf(network, binding->second.someip);
  }
}

void NameNetwork(const HostNetwork& network, MethodRegisterInfo& info) {
  if (const auto binding = info.bindings.find(DriverType::kSomeip); binding != info.bindings.end()) {
    NameNetworkOf(network, binding->second.someip);
  }
}

void NameNetwork(const HostNetwork& network, FieldRegisterInfo& info) {
  const auto binding = info.bindings.find(DriverType::kSomeip);
  if (binding == info.bindings.end()) {
    return;
  }
  FieldInfo& field = binding->second;
  if (field.hasNotifier) {
    NameNetworkOf(network, field.someip.notify.event);
  }
  if (field.hasGetter) {
    NameNetworkOf(network, field.someip.setGet.getter);
  }
  if (field.hasSetter) {
    NameNetworkOf(network, field.someip.setGet.setter);
  }
}

void NameNetwork(const HostNetwork& network, ServiceRegisterInfo& info) {
  if (const auto binding = info.bindings.find(DriverType::kSomeip); binding != info.bindings.end()) {
    NameNetworkOf(network, binding->second);
  }
}

}  // namespace qor::maintaind
