// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_MAINTAIND_DAEMON_ENTITY_FAMILY_H
#define QOR_MAINTAIND_DAEMON_ENTITY_FAMILY_H

#include <string>
#include <vector>

#include "src/common/records/event_info.h"
#include "src/common/records/field_info.h"
#include "src/common/records/method_info.h"
#include "src/common/records/node_info.h"
#include "src/common/records/service_info.h"

namespace qor::maintaind {

/// What tells whether two registrations mean the same entity: they do when they share an exact key. Over DDS a foreign
/// endpoint knows no service, so it means every event of its domain and topic.
struct EntityKeys {
  std::vector<std::string> exact;  ///< one a binding; without bindings the entity's name
  std::string topic;               ///< events over DDS only: domain and topic name
  bool isForeign = false;
};

EntityKeys KeysOf(const EventRegisterInfo& info);
EntityKeys KeysOf(const MethodRegisterInfo& info);
EntityKeys KeysOf(const FieldRegisterInfo& info);
EntityKeys KeysOf(const ServiceRegisterInfo& info);

/// The exact keys of an event's two bindings.
std::string DdsEventKey(std::uint16_t service, std::uint16_t instance, std::uint16_t domain, const std::string& topic);
std::string SomeipEventKey(std::uint16_t service, std::uint16_t instance, std::uint16_t event);
std::string TopicKey(std::uint16_t domain, const std::string& topic);

/// The instance short name of the SOME/IP binding; empty without one.
std::string InstanceShortNameOf(const EventRegisterInfo& info);
std::string InstanceShortNameOf(const MethodRegisterInfo& info);
std::string InstanceShortNameOf(const FieldRegisterInfo& info);
std::string InstanceShortNameOf(const ServiceRegisterInfo& info);

/// How the four families of entities differ for the registry: the names of their members. `Listed` is the record that
/// the tools get.
template <class Info>
struct EntityFamily;

template <>
struct EntityFamily<EventRegisterInfo> {
  using Listed = EventInfoWithPubSub;
  static constexpr EntityKind kKind = EntityKind::kEvent;
  static constexpr const char* kText = "event";
  static constexpr auto kName = &EventRegisterInfo::eventName;
  static constexpr auto kProvider = &Listed::publisher;
  static constexpr auto kIsOnline = &Listed::isPublisherOnline;
  static constexpr auto kConsumers = &Listed::subscribers;
};

template <>
struct EntityFamily<MethodRegisterInfo> {
  using Listed = MethodInfoWithPubSub;
  static constexpr EntityKind kKind = EntityKind::kMethod;
  static constexpr const char* kText = "method";
  static constexpr auto kName = &MethodRegisterInfo::methodName;
  static constexpr auto kProvider = &Listed::server;
  static constexpr auto kIsOnline = &Listed::isServerOnline;
  static constexpr auto kConsumers = &Listed::clients;
};

template <>
struct EntityFamily<FieldRegisterInfo> {
  using Listed = FieldInfoWithPubSub;
  static constexpr EntityKind kKind = EntityKind::kField;
  static constexpr const char* kText = "field";
  static constexpr auto kName = &FieldRegisterInfo::fieldName;
  static constexpr auto kProvider = &Listed::server;
  static constexpr auto kIsOnline = &Listed::isServerOnline;
  static constexpr auto kConsumers = &Listed::clients;
};

template <>
struct EntityFamily<ServiceRegisterInfo> {
  using Listed = ServiceInfoWithPubSub;
  static constexpr EntityKind kKind = EntityKind::kService;
  static constexpr const char* kText = "service";
  static constexpr auto kName = &ServiceRegisterInfo::serviceName;
  static constexpr auto kProvider = &Listed::server;
  static constexpr auto kIsOnline = &Listed::isServerOnline;
  static constexpr auto kConsumers = &Listed::clients;
};

}  // namespace qor::maintaind

#endif
