// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_EVENT_INFO_SERIALIZE_H
#define QOR_QORBAG_EVENT_INFO_SERIALIZE_H

#include <cstddef>
#include <cstdint>
#include <span>

#include "src/common/records/event_info.h"
#include "src/qorbag/qor_buffer.h"

namespace qor::qorbag {

/// The DDS configuration of a recorded event as a bag stores it: the fields that the format version has, little-endian,
/// texts behind their length in 32 bits. Used by one thread.
class QorEventInfoSerialize {
 public:
  /// To write: first the event and the version, then SerializeEventInfo, then the bytes.
  void SetEventInfo(const maintaind::EventInfo& info, std::uint32_t version);
  [[nodiscard]] bool SerializeEventInfo();
  const std::uint8_t* GetBuffPtr() const { return buffer_.GetData(); }
  std::size_t GetBuffSize() const { return buffer_.GetSize(); }

  /// To read: false, with a line in the log, when the bytes end within a field, or there are none.
  [[nodiscard]] bool SetSerializeData(const std::uint8_t* bytes, std::size_t length, std::uint32_t version);
  const maintaind::EventInfo& GetEventInfo() const { return info_; }

 private:
  maintaind::EventInfo info_;
  std::uint32_t version_ = 0;
  QorBuffer buffer_;
};

/// The same for SOME/IP.
class QorSOMEIPEventInfoSerialize {
 public:
  void SetEventInfo(const maintaind::EventInfo& info, std::uint32_t version);
  /// Also false for texts and lists of 2^31 bytes or more.
  [[nodiscard]] bool SerializeEventInfo();
  const std::uint8_t* GetBuffPtr() const { return buffer_.GetData(); }
  std::size_t GetBuffSize() const { return buffer_.GetSize(); }

  [[nodiscard]] bool SetSerializeData(std::span<const std::uint8_t> bytes, std::uint32_t version);
  const maintaind::EventInfo& GetEventInfo() const { return info_; }

 private:
  maintaind::EventInfo info_;
  std::uint32_t version_ = 0;
  QorBuffer buffer_;
};

}  // namespace qor::qorbag

#endif
