// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_TESTS_SUPPORT_REGISTRATIONS_H
#define QOR_TESTS_SUPPORT_REGISTRATIONS_H

#include <cstdint>
#include <string>

#include "src/common/records/registration.h"

/// Short ways to write down what an application registers.
namespace qor::test {

inline maintaind::EventRegistration DdsEvent(std::uint32_t id, maintaind::EntityRole role, const std::string& node,
                                             const std::string& topic, std::uint16_t service = 0x10,
                                             std::uint16_t domain = 0) {
  maintaind::EventRegistration event{id, role, {}};
  event.info.eventName = "/" + topic;
  event.info.nodeName = node;
  auto& dds = event.info.bindings[maintaind::DriverType::kDds].dds;
  dds.serviceId = service;
  dds.instanceId = 1;
  dds.domainId = domain;
  dds.topicName = topic;
  dds.transports = {maintaind::TransportQos::kUdp};
  return event;
}

inline maintaind::EventRegistration Publish(std::uint32_t id, const std::string& node, const std::string& topic) {
  return DdsEvent(id, maintaind::EntityRole::kProvider, node, topic);
}

inline maintaind::EventRegistration Subscribe(std::uint32_t id, const std::string& node, const std::string& topic) {
  return DdsEvent(id, maintaind::EntityRole::kConsumer, node, topic);
}

inline maintaind::MethodRegistration SomeipMethod(std::uint32_t id, maintaind::EntityRole role, const std::string& node,
                                                  const std::string& name, std::uint16_t method) {
  maintaind::MethodRegistration registration{id, role, {}};
  registration.info.methodName = name;
  registration.info.nodeName = node;
  auto& someip = registration.info.bindings[maintaind::DriverType::kSomeip].someip;
  someip.serviceId = 0x1234;
  someip.instanceId = 1;
  someip.methodId = method;
  someip.instanceShortName = "front";
  return registration;
}

}  // namespace qor::test

#endif
