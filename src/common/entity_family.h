// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COMMON_ENTITY_FAMILY_H
#define QOR_COMMON_ENTITY_FAMILY_H

#include <cstdint>
#include <string>
#include <vector>

#include "src/common/records/binding.h"
#include "src/common/records/event_info.h"
#include "src/common/records/field_info.h"
#include "src/common/records/method_info.h"
#include "src/common/records/service_info.h"

/// Events, methods, fields and services behind one vocabulary, so that comparing, merging and filtering are written
/// once: a provider (publisher or server), its consumers (subscribers or clients), and per binding the part that says
/// which entity it is and where.
namespace qor::common {

/// What identifies an entity on one wire. Refers to the record it was made from.
struct BindingView {
  std::uint16_t serviceId = 0;
  std::uint16_t instanceId = 0;
  std::uint32_t entityId = 0;              ///< event or method id; 0 where the topic name or the service id says it all
  std::uint16_t domainId = 0;              ///< DDS only
  const std::string* topicName = nullptr;  ///< DDS only
  const std::string* networkIp = nullptr;
  const std::string* subnetMask = nullptr;
  const std::string* instanceShortName = nullptr;                    ///< SOME/IP only
  const std::vector<maintaind::TransportQos>* transports = nullptr;  ///< DDS only; null: the family has none
};

inline BindingView ViewOf(const maintaind::DDSEventInfo& dds) {
  return {.serviceId = dds.serviceId,
          .instanceId = dds.instanceId,
          .domainId = dds.domainId,
          .topicName = &dds.topicName,
          .networkIp = &dds.networkIp,
          .subnetMask = &dds.subnetMask,
          .transports = &dds.transports};
}

inline BindingView ViewOf(const maintaind::SomeipEventInfo& someip) {
  return {.serviceId = someip.serviceId,
          .instanceId = someip.instanceId,
          .entityId = someip.eventId,
          .networkIp = &someip.networkIp,
          .subnetMask = &someip.subnetMask,
          .instanceShortName = &someip.instanceShortName};
}

inline BindingView ViewOf(const maintaind::DDSMethodInfo& dds) {
  return {.serviceId = dds.serviceId,
          .instanceId = dds.instanceId,
          .entityId = dds.methodId,
          .domainId = dds.domainId,
          .topicName = &dds.requestTopicName,
          .networkIp = &dds.networkIp,
          .subnetMask = &dds.subnetMask,
          .transports = &dds.transports};
}

inline BindingView ViewOf(const maintaind::SomeipMethodInfo& someip) {
  return {.serviceId = someip.serviceId,
          .instanceId = someip.instanceId,
          .entityId = someip.methodId,
          .networkIp = &someip.networkIp,
          .subnetMask = &someip.subnetMask,
          .instanceShortName = &someip.instanceShortName};
}

/// The family of a record type; specialised for the four of them.
template <class Record>
struct EntityFamily;

template <>
struct EntityFamily<maintaind::EventInfoWithPubSub> {
  using Record = maintaind::EventInfoWithPubSub;
  using Binding = maintaind::EventInfo;

  static const std::string& Name(const Record& record) { return record.eventName; }
  static const std::string& Provider(const Record& record) { return record.publisher; }
  static bool IsOnline(const Record& record) { return record.isPublisherOnline; }
  static std::vector<std::string>& Consumers(Record& record) { return record.subscribers; }
  static BindingView Dds(const Binding& binding) { return ViewOf(binding.dds); }
  static BindingView Someip(const Binding& binding) { return ViewOf(binding.someip); }
};

/// What methods, fields and services have in common.
template <class RecordType>
struct ServedFamily {
  using Record = RecordType;

  static const std::string& Provider(const Record& record) { return record.server; }
  static bool IsOnline(const Record& record) { return record.isServerOnline; }
  static std::vector<std::string>& Consumers(Record& record) { return record.clients; }
};

template <>
struct EntityFamily<maintaind::MethodInfoWithPubSub> : ServedFamily<maintaind::MethodInfoWithPubSub> {
  using Binding = maintaind::MethodInfo;

  static const std::string& Name(const Record& record) { return record.methodName; }
  static BindingView Dds(const Binding& binding) { return ViewOf(binding.dds); }
  static BindingView Someip(const Binding& binding) { return ViewOf(binding.someip); }
};

/// A field is known by its notifier; one without by its getter, and one that can only be set by its setter.
template <>
struct EntityFamily<maintaind::FieldInfoWithPubSub> : ServedFamily<maintaind::FieldInfoWithPubSub> {
  using Binding = maintaind::FieldInfo;

  static const std::string& Name(const Record& record) { return record.fieldName; }
  static BindingView Dds(const Binding& binding) { return View(binding, binding.dds); }
  static BindingView Someip(const Binding& binding) { return View(binding, binding.someip); }

 private:
  template <class Parts>
  static BindingView View(const Binding& binding, const Parts& parts) {
    if (!binding.hasNotifier && binding.hasGetter) {
      return ViewOf(parts.setGet.getter);
    }
    if (!binding.hasNotifier && binding.hasSetter) {
      return ViewOf(parts.setGet.setter);
    }
    return ViewOf(parts.notify.event);
  }
};

template <>
struct EntityFamily<maintaind::ServiceInfoWithPubSub> : ServedFamily<maintaind::ServiceInfoWithPubSub> {
  using Binding = maintaind::ServiceInfo;

  static const std::string& Name(const Record& record) { return record.serviceName; }
  static BindingView Dds(const Binding& binding) {
    BindingView view = Someip(binding);
    view.domainId = binding.domainId;
    return view;
  }
  static BindingView Someip(const Binding& binding) {
    return {.serviceId = binding.serviceId,
            .instanceId = binding.instanceId,
            .networkIp = &binding.networkIp,
            .subnetMask = &binding.subnetMask};
  }
};

template <class Record>
bool HasBinding(const Record& record, maintaind::DriverType driver) {
  return record.bindings.contains(driver);
}

template <class Record>
bool HasProvider(const Record& record) {
  return !EntityFamily<Record>::Provider(record).empty();
}

template <class Record>
bool HasOnlineProvider(const Record& record) {
  return HasProvider(record) && EntityFamily<Record>::IsOnline(record);
}

}  // namespace qor::common

#endif
