// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/recorded_event.h"

#include "src/qorbag/recorded_definitions.h"
#include "src/qorbag/recorded_endpoint.h"

namespace qor::qorbag {

using maintaind::DriverType;
using maintaind::SerializationType;

EventDescription DescribeEvent(const maintaind::EventRegisterInfo& event,
                               const datatype::DefinitionTexts& definitions) {
  const auto& [driver, binding] = *event.bindings.begin();
  EventDescription description;
  description.eventName = event.eventName;
  description.dataType = event.dataTypeName.empty() ? binding.dds.typeName : event.dataTypeName;
  description.msgDefinition = DefinitionsOf(description.dataType, definitions);
  description.driverType = driver;
  description.serializationType = event.serializeConfig.type;
  description.eventInfo = binding;
  if (driver == DriverType::kDds) {
    description.eventInfo.dds.qosProfile = WithEndpointSettings(binding.dds, description.dataType);
  } else if (event.serializeConfig.type == SerializationType::kSomeip ||
             event.serializeConfig.type == SerializationType::kPdu) {
    description.serializationConfig = event.serializeConfig.serializedConfig;
  }
  return description;
}

RecordedEvent::RecordedEvent(maintaind::EventInfoWithPubSub record, std::shared_ptr<EventQuota> quota)
    : record_(std::move(record)),
      quota_(std::move(quota)),
      description_(std::make_shared<const EventDescription>(DescribeEvent(record_, {}))) {
  eventName = record_.eventName;
}

std::shared_ptr<const EventDescription> RecordedEvent::Description() const {
  const std::lock_guard lock(mutex_);
  return description_;
}

bool RecordedEvent::Define(const datatype::DefinitionTexts& definitions) {
  auto description = std::make_shared<const EventDescription>(DescribeEvent(record_, definitions));
  const bool isDefined = !description->msgDefinition.empty();
  const std::lock_guard lock(mutex_);
  description_ = std::move(description);
  return isDefined;
}

}  // namespace qor::qorbag
