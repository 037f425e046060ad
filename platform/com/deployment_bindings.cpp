// SPDX-License-Identifier: Apache-2.0
#include "platform/com/deployment_bindings.h"

#include "platform/com/deployment_checks.h"

namespace qor::com {
namespace {

using Json = DeploymentReader::Json;
using maintaind::DDSEventInfo;
using maintaind::DDSMethodInfo;
using maintaind::DriverType;
using maintaind::SomeipEventInfo;
using maintaind::SomeipMethodInfo;

template <class Info>
void Inherit(const std::optional<DdsServiceBinding>& service, Info& info) {
  const DdsServiceBinding binding = service.value_or(DdsServiceBinding{});
  info.serviceId = binding.serviceId;
  info.instanceId = binding.instanceId;
  info.networkIp = binding.networkIp;
  info.subnetMask = binding.subnetMask;
  info.domainId = binding.domainId;
  info.transports = binding.transports;
}

template <class Info>
void Inherit(const std::optional<SomeipServiceBinding>& service, Info& info) {
  const SomeipServiceBinding binding = service.value_or(SomeipServiceBinding{});
  info.serviceId = binding.serviceId;
  info.instanceId = binding.instanceId;
  info.networkIp = binding.networkIp;
  info.subnetMask = binding.subnetMask;
  info.networkName = binding.networkName;
  info.majorVersion = binding.majorVersion;
  info.minorVersion = binding.minorVersion;
  info.instanceShortName = binding.instanceShortName;
  info.udpPort = binding.udpPort;
  info.tcpPort = binding.tcpPort;
}

/// An event that is not told otherwise is announced under the name of its data type, and carries an mbuf chain when its
/// transport does.
void FillIn(DeploymentReader& reader, const std::string& dataTypeName, DDSEventInfo& info) {
  if (info.typeName.empty()) {
    info.typeName = dataTypeName;
  }
  const bool carriesMbuf =
      std::ranges::find(info.transports, maintaind::TransportQos::kDshmMbuf) != info.transports.end();
  if (carriesMbuf && reader.Find("dataMode") == nullptr) {
    info.dataMode = maintaind::DataMode::kMbuf;
  }
}

/// Reads the object `key` of `parent` into `info`, which begins with what the service says. False when there is none.
template <class Binding, class Info>
bool ReadBinding(DeploymentReader& parent, std::string_view key, const std::optional<Binding>& service,
                 const std::string& dataTypeName, Info& info) {
  const Json* json = parent.Find(key);
  if (json == nullptr) {
    return false;
  }
  DeploymentReader reader(*json, parent.PointerOf(key), parent.Faults());
  const std::size_t before = parent.Faults().ErrorCount();
  Inherit(service, info);
  reader.ReadFields(info);
  if constexpr (std::is_same_v<Info, DDSEventInfo>) {
    FillIn(reader, dataTypeName, info);
  }
  if (parent.Faults().ErrorCount() == before) {
    CheckBinding(reader, info);
  }
  reader.Finish();
  return true;
}

template <class Map>
void ExpectBinding(DeploymentReader& entity, const Map& bindings) {
  if (bindings.empty()) {
    entity.Faults().Error(entity.Pointer(), "expected a binding: \"dds\", \"someip\" or both");
  }
}

/// The "dds" or "someip" object of a field: notifier, getter, setter, each optional.
template <class Binding, class Event, class Method>
void ReadFieldBinding(DeploymentReader& field, std::string_view key, const std::optional<Binding>& service,
                      const std::string& dataTypeName, maintaind::FieldInfo& info, Event& notifier, Method& getter,
                      Method& setter) {
  DeploymentReader reader(*field.Find(key), field.PointerOf(key), field.Faults());
  info.hasNotifier = ReadBinding(reader, "notifier", service, dataTypeName, notifier);
  info.hasGetter = ReadBinding(reader, "getter", service, dataTypeName, getter);
  info.hasSetter = ReadBinding(reader, "setter", service, dataTypeName, setter);
  notifier.isFieldNotifier = info.hasNotifier;
  if (!info.hasNotifier && !info.hasGetter && !info.hasSetter) {
    field.Faults().Error(reader.Pointer(), "expected \"notifier\", \"getter\" or \"setter\"");
  }
  reader.Finish();
}

}  // namespace

ServiceBindings ReadServiceBindings(DeploymentReader& service) {
  ServiceBindings bindings;
  if (DdsServiceBinding dds; service.Find("dds") != nullptr) {
    service.Read("dds", dds);
    CheckServiceBinding(service, dds);
    bindings.dds = dds;
  }
  if (SomeipServiceBinding someip; service.Find("someip") != nullptr) {
    service.Read("someip", someip);
    CheckServiceBinding(service, someip);
    bindings.someip = someip;
  }
  return bindings;
}

std::map<DriverType, maintaind::EventInfo> ReadEventBindings(DeploymentReader& event, const ServiceBindings& service,
                                                             const std::string& dataTypeName) {
  std::map<DriverType, maintaind::EventInfo> bindings;
  if (maintaind::EventInfo info; ReadBinding(event, "dds", service.dds, dataTypeName, info.dds)) {
    bindings[DriverType::kDds] = info;
  }
  if (maintaind::EventInfo info; ReadBinding(event, "someip", service.someip, dataTypeName, info.someip)) {
    bindings[DriverType::kSomeip] = info;
  }
  ExpectBinding(event, bindings);
  return bindings;
}

std::map<DriverType, maintaind::MethodInfo> ReadMethodBindings(DeploymentReader& method,
                                                               const ServiceBindings& service) {
  std::map<DriverType, maintaind::MethodInfo> bindings;
  if (maintaind::MethodInfo info; ReadBinding(method, "dds", service.dds, {}, info.dds)) {
    bindings[DriverType::kDds] = info;
  }
  if (maintaind::MethodInfo info; ReadBinding(method, "someip", service.someip, {}, info.someip)) {
    bindings[DriverType::kSomeip] = info;
  }
  ExpectBinding(method, bindings);
  return bindings;
}

std::map<DriverType, maintaind::FieldInfo> ReadFieldBindings(DeploymentReader& field, const ServiceBindings& service,
                                                             const std::string& dataTypeName) {
  std::map<DriverType, maintaind::FieldInfo> bindings;
  if (field.Find("dds") != nullptr) {
    maintaind::FieldInfo& info = bindings[DriverType::kDds];
    maintaind::DDSFieldInfo& dds = info.dds;
    ReadFieldBinding(field, "dds", service.dds, dataTypeName, info, dds.notify.event, dds.setGet.getter,
                     dds.setGet.setter);
  }
  if (field.Find("someip") != nullptr) {
    maintaind::FieldInfo& info = bindings[DriverType::kSomeip];
    maintaind::SomeipFieldInfo& someip = info.someip;
    ReadFieldBinding(field, "someip", service.someip, dataTypeName, info, someip.notify.event, someip.setGet.getter,
                     someip.setGet.setter);
  }
  ExpectBinding(field, bindings);
  return bindings;
}

}  // namespace qor::com
