// SPDX-License-Identifier: Apache-2.0
#include "platform/dds/raw_type.h"

#include <fastdds/rtps/common/InstanceHandle.h>
#include <fastdds/rtps/common/SerializedPayload.h>

#include <algorithm>

#include "platform/ara/core/bounded_memory.h"
#include "platform/log/qor_log.h"

namespace qor::dds {
namespace {

namespace rtps = eprosima::fastrtps::rtps;

constexpr QorLog kLog("DDS");
constexpr std::uint32_t kLogIntervalMs = 500;
constexpr std::size_t kAlignment = 4;
constexpr std::uint8_t kPaddingMask = 0x03;

std::size_t PaddingOf(std::size_t payloadSize) { return (kAlignment - payloadSize % kAlignment) % kAlignment; }

}  // namespace

void IncomingSample::Assign(std::span<const std::uint8_t> serialized) {
  if (use_ == Use::kKeyOnly) {
    return;
  }
  const std::size_t padding = serialized.size() < RawType::kEncapsulationSize ? 0 : serialized[3] & kPaddingMask;
  memory_.SetSize(0);
  isMalformed_ = serialized.size() < RawType::kEncapsulationSize + padding;
  if (isMalformed_) {
    return;
  }
  encapsulation_ = static_cast<std::uint16_t>(serialized[0] << 8U | serialized[1]);
  memory_.Append(serialized.first(serialized.size() - padding).subspan(RawType::kEncapsulationSize));
}

RawType::RawType(const std::string& name, bool isKeyed) {
  setName(name.c_str());
  m_typeSize = kEncapsulationSize;  // what is allocated at first; buffers grow to what is really sent
  m_isGetKeyDefined = isKeyed;
  auto_fill_type_object(false);
  auto_fill_type_information(false);
}

bool RawType::serialize(void* data, rtps::SerializedPayload_t* payload) {
  const auto& sample = *static_cast<const OutgoingSample*>(data);
  const std::size_t padding = PaddingOf(sample.payload.size());
  const std::size_t size = kEncapsulationSize + sample.payload.size() + padding;
  if (payload->max_size < size) {
    kLog.Error("RawType_serialize", kLogIntervalMs)
        << "A sample of " << size << " bytes does not fit the " << payload->max_size << " that Fast DDS provides.";
    return false;
  }
  payload->data[0] = static_cast<std::uint8_t>(sample.encapsulation >> 8U);
  payload->data[1] = static_cast<std::uint8_t>(sample.encapsulation);
  payload->data[2] = 0;
  payload->data[3] = static_cast<std::uint8_t>(padding);
  const std::size_t room = payload->max_size - kEncapsulationSize;
  if (memcpy_s(payload->data + kEncapsulationSize, room, sample.payload.data(), sample.payload.size()) != 0 ||
      memset_s(payload->data + size - padding, padding, 0, padding) != 0) {
    kLog.Error("RawType_serialize", kLogIntervalMs) << "A sample of " << size << " bytes could not be copied.";
    return false;
  }
  payload->encapsulation = sample.encapsulation;
  payload->length = static_cast<std::uint32_t>(size);
  return true;
}

bool RawType::deserialize(rtps::SerializedPayload_t* payload, void* data) {
  static_cast<IncomingSample*>(data)->Assign({payload->data, payload->length});
  return true;
}

std::function<std::uint32_t()> RawType::getSerializedSizeProvider(void* data) {
  const std::size_t size = static_cast<const OutgoingSample*>(data)->payload.size();
  return [total = static_cast<std::uint32_t>(kEncapsulationSize + size + PaddingOf(size))] { return total; };
}

void* RawType::createData() { return new IncomingSample(IncomingSample::Use::kKeyOnly); }

void RawType::deleteData(void* data) { delete static_cast<IncomingSample*>(data); }

bool RawType::getKey(void* /*data*/, rtps::InstanceHandle_t* handle, bool /*forceMd5*/) {
  if (!m_isGetKeyDefined) {
    return false;
  }
  constexpr rtps::octet kTheInstance = 1;
  rtps::octet key[16] = {};
  key[15] = kTheInstance;  // all zero would mean "no handle"
  std::copy(std::begin(key), std::end(key), static_cast<rtps::octet*>(handle->value));
  return true;
}

}  // namespace qor::dds
