// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/connection.h"

#include <span>
#include <string_view>

#include "src/qorbag/bag_log.h"
#include "src/qorbag/event_info_serialize.h"

namespace qor::qorbag {
namespace {

using maintaind::DriverType;
using maintaind::SerializationType;
using maintaind::TransportQos;

bool IsDriver(DriverType type) { return type == DriverType::kDds || type == DriverType::kSomeip; }

bool EventInfoFailed() { return Failed("ReadConnection ReadField eventInfo failed!"); }

bool FieldFailed(std::string_view name) {
  kLog.Error() << "ReadConnectionFeild ReadField " << name << " failed!";
  return false;
}

template <class T>
bool ReadField(const HeaderFields& fields, std::string_view name, T& value, bool isPresent = true) {
  return !isPresent || fields.ReadField(name, value) || FieldFailed(name);
}

}  // namespace

bool Connection::Encode(std::uint32_t version, QorBuffer& out) const {
  if (!IsDriver(driverType)) {
    return Failed("[WriteSerializationConfig][Unknown driver type]");
  }
  if (version < kWithDriverType && driverType != DriverType::kDds) {
    return Failed("A bag of version 1.0 has DDS events only");
  }
  QorEventInfoSerialize dds;
  QorSOMEIPEventInfoSerialize someip;
  std::span<const std::uint8_t> blob;
  if (driverType == DriverType::kDds) {
    dds.SetEventInfo(eventInfo, version);
    if (!dds.SerializeEventInfo()) {
      return false;
    }
    blob = {dds.GetBuffPtr(), dds.GetBuffSize()};
  } else {
    someip.SetEventInfo(eventInfo, version);
    if (!someip.SerializeEventInfo()) {
      return false;
    }
    blob = {someip.GetBuffPtr(), someip.GetBuffSize()};
  }
  HeaderWriter header(out, OpCode::kConnection);
  header.Field("id", id);
  header.Field("event", std::string_view(eventName));
  header.Field("type", std::string_view(dataType));
  if (version >= kWithMsgDef) {
    header.Field("msgDef", std::string_view(msgDefinition));
  }
  if (version >= kWithDriverType) {
    header.Field("driverType", static_cast<std::uint16_t>(driverType));
  }
  if (version >= kWithSerializationType) {
    header.Field("serializationType", static_cast<std::uint32_t>(serializationType));
  }
  header.Field("eventInfo", blob);
  if (version >= kWithStatistics) {
    header.Field("startTime", startTime);
    header.Field("endTime", endTime);
    header.Field("msgCount", msgCount);
  }
  if (version >= kWithSerializationConfig) {
    const bool hasConfig = driverType == DriverType::kSomeip && (serializationType == SerializationType::kSomeip ||
                                                                 serializationType == SerializationType::kPdu);
    header.Field("serializationConfig",
                 hasConfig ? std::span<const std::uint8_t>(serializationConfig) : std::span<const std::uint8_t>());
  }
  header.End();
  return true;
}

bool Connection::Decode(const HeaderFields& fields, std::uint32_t version) {
  std::uint16_t driver = 0;
  std::uint32_t serialization = 0;
  std::span<const std::uint8_t> blob;
  std::span<const std::uint8_t> config;
  const bool hasStatistics = version >= kWithStatistics;
  if (!ReadField(fields, "id", id) || !ReadField(fields, "event", eventName) || !ReadField(fields, "type", dataType) ||
      !ReadField(fields, "msgDef", msgDefinition, version >= kWithMsgDef) ||
      !ReadField(fields, "driverType", driver, version >= kWithDriverType) ||
      !ReadField(fields, "serializationType", serialization, version >= kWithSerializationType) ||
      (!fields.ReadField("eventInfo", blob) && !EventInfoFailed()) ||
      !ReadField(fields, "startTime", startTime, hasStatistics) ||
      !ReadField(fields, "endTime", endTime, hasStatistics) ||
      !ReadField(fields, "msgCount", msgCount, hasStatistics) ||
      !ReadField(fields, "serializationConfig", config, version >= kWithSerializationConfig)) {
    return false;
  }
  driverType = static_cast<DriverType>(driver);
  serializationType = static_cast<SerializationType>(serialization);
  serializationConfig.assign(config.begin(), config.end());
  if (!IsDriver(driverType)) {
    return FieldFailed("driverType");
  }
  return DecodeEventInfo(blob, version);
}

bool Connection::DecodeEventInfo(std::span<const std::uint8_t> blob, std::uint32_t version) {
  if (driverType == DriverType::kSomeip) {
    QorSOMEIPEventInfoSerialize someip;
    if (!someip.SetSerializeData(blob, version)) {
      return Failed("ReadConnection set SOMEIP serialize data failed!");
    }
    eventInfo = someip.GetEventInfo();
    return true;
  }
  QorEventInfoSerialize dds;
  if (!dds.SetSerializeData(blob.data(), blob.size(), version)) {
    return EventInfoFailed();
  }
  eventInfo = dds.GetEventInfo();
  if (version <= kWithRecordTimes) {
    kLog.Info() << "Bagfile version is not more than 130, so DDS qos is set to UDP&SHM.";
    eventInfo.dds.transports = {TransportQos::kUdp, TransportQos::kShm};
  }
  return true;
}

}  // namespace qor::qorbag
