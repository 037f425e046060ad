// SPDX-License-Identifier: Apache-2.0
#include "platform/maintaind/daemon/entity_family.h"

#include <map>
#include <string_view>

namespace qor::maintaind {
namespace {

/// The numbers that identify an entity in one binding, as one text; a name may follow as its last part.
template <class... Numbers>
std::string Key(std::string_view binding, const Numbers&... numbers) {
  std::string key(binding);
  ((key += '/', key += std::to_string(numbers)), ...);
  return key;
}

std::string WithName(std::string key, const std::string& name) { return std::move(key += '/') += name; }

/// Without a binding only the name is left.
EntityKeys OrName(EntityKeys keys, const std::string& name) {
  if (keys.exact.empty()) {
    keys.exact.push_back(WithName("name", name));
  }
  return keys;
}

template <class Info>
const Info* Find(const std::map<DriverType, Info>& bindings, DriverType driver) {
  const auto found = bindings.find(driver);
  return found != bindings.end() ? &found->second : nullptr;
}

}  // namespace

std::string DdsEventKey(std::uint16_t service, std::uint16_t instance, std::uint16_t domain, const std::string& topic) {
  return WithName(Key("dds", service, instance, domain), topic);
}

std::string SomeipEventKey(std::uint16_t service, std::uint16_t instance, std::uint16_t event) {
  return Key("someip", service, instance, event);
}

std::string TopicKey(std::uint16_t domain, const std::string& topic) { return WithName(Key("topic", domain), topic); }

EntityKeys KeysOf(const EventRegisterInfo& info) {
  EntityKeys keys;
  if (const EventInfo* binding = Find(info.bindings, DriverType::kDds)) {
    const DDSEventInfo& dds = binding->dds;
    keys.exact.push_back(DdsEventKey(dds.serviceId, dds.instanceId, dds.domainId, dds.topicName));
    keys.topic = TopicKey(dds.domainId, dds.topicName);
    keys.isForeign = dds.isForeign;
  }
  if (const EventInfo* binding = Find(info.bindings, DriverType::kSomeip)) {
    const SomeipEventInfo& someip = binding->someip;
    keys.exact.push_back(SomeipEventKey(someip.serviceId, someip.instanceId, someip.eventId));
  }
  return OrName(std::move(keys), info.eventName);
}

EntityKeys KeysOf(const MethodRegisterInfo& info) {
  EntityKeys keys;
  if (const MethodInfo* binding = Find(info.bindings, DriverType::kDds)) {
    const DDSMethodInfo& dds = binding->dds;
    keys.exact.push_back(
        WithName(Key("dds", dds.serviceId, dds.instanceId, dds.domainId, dds.methodId), dds.requestTopicName));
  }
  if (const MethodInfo* binding = Find(info.bindings, DriverType::kSomeip)) {
    const SomeipMethodInfo& someip = binding->someip;
    keys.exact.push_back(Key("someip", someip.serviceId, someip.instanceId, someip.methodId));
  }
  return OrName(std::move(keys), info.methodName);
}

/// A field is told by its notifier, its getter and its setter together; parts that it lacks are zero.
EntityKeys KeysOf(const FieldRegisterInfo& info) {
  EntityKeys keys;
  if (const FieldInfo* binding = Find(info.bindings, DriverType::kDds)) {
    const DDSEventInfo& notifier = binding->dds.notify.event;
    const DDSSetGetInfo& setGet = binding->dds.setGet;
    std::string key = Key("dds", notifier.serviceId, notifier.instanceId, notifier.domainId, setGet.getter.serviceId,
                          setGet.getter.methodId, setGet.setter.serviceId, setGet.setter.methodId);
    key = WithName(std::move(key), notifier.topicName);
    key = WithName(std::move(key), setGet.getter.requestTopicName);
    keys.exact.push_back(WithName(std::move(key), setGet.setter.requestTopicName));
  }
  if (const FieldInfo* binding = Find(info.bindings, DriverType::kSomeip)) {
    const SomeipEventInfo& notifier = binding->someip.notify.event;
    const SomeipSetGetInfo& setGet = binding->someip.setGet;
    keys.exact.push_back(Key("someip", notifier.serviceId, notifier.instanceId, notifier.eventId,
                             setGet.getter.serviceId, setGet.getter.instanceId, setGet.getter.methodId,
                             setGet.setter.serviceId, setGet.setter.instanceId, setGet.setter.methodId));
  }
  return OrName(std::move(keys), info.fieldName);
}

EntityKeys KeysOf(const ServiceRegisterInfo& info) {
  EntityKeys keys;
  if (const ServiceInfo* dds = Find(info.bindings, DriverType::kDds)) {
    keys.exact.push_back(Key("dds", dds->serviceId, dds->instanceId, dds->domainId));
  }
  if (const ServiceInfo* someip = Find(info.bindings, DriverType::kSomeip)) {
    keys.exact.push_back(Key("someip", someip->serviceId, someip->instanceId));
  }
  return OrName(std::move(keys), info.serviceName);
}

std::string InstanceShortNameOf(const EventRegisterInfo& info) {
  const EventInfo* binding = Find(info.bindings, DriverType::kSomeip);
  return binding != nullptr ? binding->someip.instanceShortName : std::string();
}

std::string InstanceShortNameOf(const MethodRegisterInfo& info) {
  const MethodInfo* binding = Find(info.bindings, DriverType::kSomeip);
  return binding != nullptr ? binding->someip.instanceShortName : std::string();
}

std::string InstanceShortNameOf(const FieldRegisterInfo& info) {
  const FieldInfo* binding = Find(info.bindings, DriverType::kSomeip);
  if (binding == nullptr) {
    return {};
  }
  const std::string& ofNotifier = binding->someip.notify.event.instanceShortName;
  return !ofNotifier.empty() ? ofNotifier : binding->someip.setGet.getter.instanceShortName;
}

std::string InstanceShortNameOf(const ServiceRegisterInfo& /*info*/) { return {}; }

}  // namespace qor::maintaind
