// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DDS_RAW_TYPE_H
#define QOR_DDS_RAW_TYPE_H

#include <cstddef>
#include <cstdint>
#include <fastdds/dds/topic/TopicDataType.hpp>
#include <functional>
#include <span>
#include <string>

#include "platform/com/byte_buffer.h"

namespace qor::dds {

/// A sample on its way to a writer.
struct OutgoingSample {
  std::span<const std::uint8_t> payload;
  std::uint16_t encapsulation = 0;  ///< RTPS encapsulation identifier
};

/// Takes the samples of one reader, one after the other, into memory that grows to the largest of them.
class IncomingSample {
 public:
  enum class Use : bool { kPayload, kKeyOnly };

  /// With kKeyOnly nothing is ever copied: Fast DDS holds one such sample per keyed reader, to read keys into, and the
  /// key is constant.
  explicit IncomingSample(Use use = Use::kPayload) : use_(use) {}

  /// Copies the payload out of a serialized sample. One that is too short for its encapsulation header is malformed.
  void Assign(std::span<const std::uint8_t> serialized);

  bool IsMalformed() const { return isMalformed_; }
  std::span<const std::uint8_t> Payload() const { return memory_.Bytes(); }
  /// That of the payload; it may be exchanged for other.
  com::ByteBuffer& Memory() { return memory_; }
  std::uint16_t Encapsulation() const { return encapsulation_; }

 private:
  Use use_;
  com::ByteBuffer memory_;
  std::uint16_t encapsulation_ = 0;
  bool isMalformed_ = false;
};

/// A DDS type of any name whose samples are plain bytes. Writers are given an OutgoingSample, readers an
/// IncomingSample.
///
/// A serialized sample is the 4-byte encapsulation header (identifier, then options), the payload, and up to 3 bytes of
/// padding, because RTPS sends samples in multiples of 4 bytes; the low 2 bits of the options count the padding, so
/// that the payload arrives with its exact length. Writers that do not count, count 0, and their padding stays.
///
/// A keyed type has one instance: what the key is, only the program that wrote the payload knows.
class RawType : public eprosima::fastdds::dds::TopicDataType {
 public:
  static constexpr std::size_t kEncapsulationSize = 4;
  /// Payloads above this do not fit the 32-bit sizes of RTPS.
  static constexpr std::size_t kMaxPayload = 0x7FFFFFFF;

  RawType(const std::string& name, bool isKeyed);

  bool serialize(void* data, eprosima::fastrtps::rtps::SerializedPayload_t* payload) override;
  bool deserialize(eprosima::fastrtps::rtps::SerializedPayload_t* payload, void* data) override;
  std::function<std::uint32_t()> getSerializedSizeProvider(void* data) override;
  void* createData() override;
  void deleteData(void* data) override;
  bool getKey(void* data, eprosima::fastrtps::rtps::InstanceHandle_t* handle, bool forceMd5) override;
};

}  // namespace qor::dds

#endif
