// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/event_info_serialize.h"

#include <concepts>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "src/qorbag/bag_format.h"
#include "src/qorbag/bag_log.h"
#include "src/qorbag/little_endian.h"

namespace qor::qorbag {
namespace {

using maintaind::DDSEventInfo;
using maintaind::EventInfo;
using maintaind::SomeipEventInfo;

/// Appends the fields of a blob.
class BlobWriter {
 public:
  explicit BlobWriter(QorBuffer& out) : out_(out) {}

  template <class T>
  bool operator()(const char* /*name*/, const T& value) {
    Write(value);
    return true;
  }
  /// The low half.
  bool Half(const char* /*name*/, const std::uint32_t& value) {
    Write(static_cast<std::uint16_t>(value));
    return true;
  }

 private:
  template <std::unsigned_integral T>
  void Write(T value) {
    AppendNumber(out_, value);
  }
  void Write(bool value) { AppendNumber(out_, static_cast<std::uint8_t>(value)); }
  template <class E>
  requires std::is_enum_v<E>
  void Write(E value) { AppendNumber(out_, static_cast<std::underlying_type_t<E>>(value)); }
  void Write(const std::string& text) {
    AppendNumber(out_, static_cast<std::uint32_t>(text.size()));
    out_.Append(text);
  }
  void Write(const std::vector<std::string>& list) {
    AppendNumber(out_, static_cast<std::uint32_t>(list.size()));
    for (const std::string& text : list) {
      Write(text);
    }
  }
  /// Lists of numbers are behind their length in bytes.
  template <class T>
  void Write(const std::vector<T>& list) {
    AppendNumber(out_, static_cast<std::uint32_t>(list.size() * sizeof(T)));
    for (const T number : list) {
      Write(number);
    }
  }

  QorBuffer& out_;
};

/// Takes the fields of a blob; the first that is cut has its line in the log.
class BlobReader {
 public:
  BlobReader(std::span<const std::uint8_t> bytes, const char* step) : reader_(bytes), step_(step) {}

  /// What is read next, for the log.
  void SetStep(const char* step) { step_ = step; }

  template <class T>
  bool operator()(const char* name, T& value) {
    return Read(value) || Fail(name);
  }
  bool Half(const char* name, std::uint32_t& value) {
    std::uint16_t half = 0;
    const bool isRead = reader_.Read(half);
    value = half;
    return isRead || Fail(name);
  }

 private:
  template <std::unsigned_integral T>
  bool Read(T& value) {
    return reader_.Read(value);
  }
  bool Read(std::string& value) { return reader_.Read(value); }
  bool Read(bool& value) {
    std::uint8_t byte = 0;
    const bool isRead = reader_.Read(byte);
    value = byte != 0;
    return isRead;
  }
  template <class E>
  requires std::is_enum_v<E>
  bool Read(E& value) {
    std::underlying_type_t<E> number = 0;
    const bool isRead = reader_.Read(number);
    value = static_cast<E>(number);
    return isRead;
  }
  bool Read(std::vector<std::string>& list) {
    std::uint32_t count = 0;
    bool isOk = reader_.Read(count);
    for (list.clear(); isOk && count > 0; --count) {
      isOk = reader_.Read(list.emplace_back());
    }
    return isOk;
  }
  template <class T>
  bool Read(std::vector<T>& list) {
    std::uint32_t size = 0;
    std::span<const std::uint8_t> bytes;
    if (!reader_.Read(size) || size % sizeof(T) != 0 || !reader_.Read(size, bytes)) {
      return false;
    }
    BlobReader elements(bytes, step_);
    list.resize(size / sizeof(T));
    bool isOk = true;
    for (T& element : list) {
      isOk = isOk && elements.Read(element);
    }
    return isOk;
  }
  bool Fail(const char* name) const {
    kLog.Error() << step_ << ": DeSerialize " << name << " failed!";
    return false;
  }

  ByteReader reader_;
  const char* step_;
};

// The fields of both blobs, each listed once for writing and for reading, in the order of the file.

template <class Io, class Event>
bool DdsBase(Io& io, Event& event, std::uint32_t version) {
  return io("serviceId_", event.serviceId) && io("instanceId_", event.instanceId) && io("domainId_", event.domainId) &&
         io("fragmentSize_", event.fragmentSize) && io("dataRepresentation_", event.dataRepresentation) &&
         io("publishMode_", event.publishMode) && io("sampleListSize_", event.sampleListSize) &&
         io("samplePoolSize_", event.samplePoolSize) && (version < kWithDataMode || io("dataMode_", event.dataMode)) &&
         (version < kWithMulticastPort || io("udpMulticastPort_", event.udpMulticastPort)) &&
         (version < kWithFshmMulticast ||
          (io("isFshmMulticast_", event.isFshmMulticast) && io("isKeyed_", event.isKeyed)));
}

template <class Io, class Event>
bool DdsDynamic(Io& io, Event& event, std::uint32_t version) {
  return io("topicName_", event.topicName) && io("qosProfile_", event.qosProfile) &&
         (version < kWithMulticastAddress || io("udpMulticastAddr_", event.udpMulticastAddress)) &&
         (version < kWithNetworks || (io("networkIp_", event.networkIp) && io("subnetMask_", event.subnetMask))) &&
         (version < kWithFshmMulticast || io("fshmMulticastAddr_", event.fshmMulticastAddress)) &&
         io("transports_", event.transports) &&
         (version < kWithDiscoveryAddresses || io("discoveryMulticastAddr_", event.discoveryMulticastAddresses));
}

template <class Io, class Event>
bool SomeipBase(Io& io, Event& event, std::uint32_t version) {
  return io("serviceId_", event.serviceId) && io("instanceId_", event.instanceId) &&
         io("majorVersion_", event.majorVersion) && io("eventId_", event.eventId) && io("udpPort_", event.udpPort) &&
         io("tcpPort_", event.tcpPort) &&
         (version < kWithWideMinorVersion ? io.Half("minorVersion_", event.minorVersion)
                                          : io("minorVersion_", event.minorVersion)) &&
         io("isReliable_", event.isReliable);
}

template <class Io, class Event>
bool SomeipDynamic(Io& io, Event& event, std::uint32_t version) {
  return io("instanceShortName_", event.instanceShortName) &&
         (version < kWithNetworks || (io("networkIp_", event.networkIp) && io("subnetMask_", event.subnetMask) &&
                                      io("networkName_", event.networkName))) &&
         io("eventGroupIds_", event.eventGroupIds);
}

bool Refused(const char* text) {
  kLog.Error() << text;
  return false;
}

}  // namespace

void QorEventInfoSerialize::SetEventInfo(const EventInfo& info, std::uint32_t version) {
  info_ = info;
  version_ = version;
}

bool QorEventInfoSerialize::SerializeEventInfo() {
  buffer_.SetSize(0);
  BlobWriter writer(buffer_);
  return DdsBase(writer, std::as_const(info_.dds), version_) && DdsDynamic(writer, std::as_const(info_.dds), version_);
}

bool QorEventInfoSerialize::SetSerializeData(const std::uint8_t* bytes, std::size_t length, std::uint32_t version) {
  info_ = {};
  version_ = version;
  if (bytes == nullptr) {
    length = 0;
  }
  BlobReader reader({bytes, length}, "DeSerializeDDSBaseType");
  if (!DdsBase(reader, info_.dds, version)) {
    return Refused("QorEventInfoDeSerialize: DeSerializeDDSBaseType failed!");
  }
  reader.SetStep("DeSerializeDDSDynamicType");
  return DdsDynamic(reader, info_.dds, version) ||
         Refused("QorEventInfoDeSerialize: DeSerializeDDSDynamicType failed!");
}

void QorSOMEIPEventInfoSerialize::SetEventInfo(const EventInfo& info, std::uint32_t version) {
  info_ = info;
  version_ = version;
}

bool QorSOMEIPEventInfoSerialize::SerializeEventInfo() {
  constexpr std::size_t kTooLong = std::size_t{1} << 31U;
  buffer_.SetSize(0);
  if (info_.someip.instanceShortName.size() >= kTooLong || info_.someip.eventGroupIds.size() * 2 >= kTooLong) {
    return Refused("QorEventInfoSerialize: too long instance short name or event group id size!");
  }
  BlobWriter writer(buffer_);
  return SomeipBase(writer, std::as_const(info_.someip), version_) &&
         SomeipDynamic(writer, std::as_const(info_.someip), version_);
}

bool QorSOMEIPEventInfoSerialize::SetSerializeData(std::span<const std::uint8_t> bytes, std::uint32_t version) {
  info_ = {};
  version_ = version;
  BlobReader reader(bytes, "DeSerializeSOMEIPBaseType");
  if (!SomeipBase(reader, info_.someip, version)) {
    return Refused("QorEventInfoDeSerialize: DeSerializeSOMEIPBaseType failed!");
  }
  reader.SetStep("DeSerializeSOMEIPDynamicType");
  return SomeipDynamic(reader, info_.someip, version) ||
         Refused("QorEventInfoDeSerialize: DeSerializeSOMEIPDynamicType failed!");
}

}  // namespace qor::qorbag
