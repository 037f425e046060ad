// SPDX-License-Identifier: Apache-2.0
#include "src/qorevent/sample_renderer.h"

#include <utility>

#include "src/common/records/codec.h"
#include "src/common/records/serialization_node.h"
#include "src/datatype/qor_someip_deserializer.h"

namespace qor::qorevent {
namespace {

using maintaind::DriverType;
using maintaind::EventRegisterInfo;
using maintaind::SerializationType;
using Protocol = QorDeserializer::Protocol;

/// Of what definitions call padding: only the middleware's own form has it.
QorDeserializer::DeserializeType DeserializeTypeOf(SerializationType type) {
  switch (type) {
    case SerializationType::kCm:
      return QorDeserializer::DeserializeType::kPadded;
    case SerializationType::kRos:
    case SerializationType::kSomeip:
    case SerializationType::kPdu:
      break;
  }
  return QorDeserializer::DeserializeType::kUnpadded;
}

datatype::LayoutStyle StyleOf(const EchoRendering& rendering) {
  using datatype::LayoutKind;
  const bool isMultiLine = (static_cast<unsigned>(rendering.format) & 1U) != 0;
  return {rendering.isJson ? LayoutKind::kJson
          : isMultiLine    ? LayoutKind::kMultiLine
                           : LayoutKind::kOneLine,
          rendering.textFilter};
}

/// The type as discovery announces it serves for programs that know no deployment.
std::string DataTypeOf(const EventRegisterInfo& event) {
  const auto dds = event.bindings.find(DriverType::kDds);
  return event.dataTypeName.empty() && dds != event.bindings.end() ? dds->second.dds.typeName : event.dataTypeName;
}

/// Big-endian variants of the RTPS encapsulations have an even identifier.
bool IsBigEndian(std::uint16_t encapsulation) { return (encapsulation & 1U) == 0; }

}  // namespace

SampleRenderer::SampleRenderer(std::string name, const EventRegisterInfo& event, bool isFromDdsPublisher,
                               const EchoRendering& rendering, const QorDeserializer::QueryFunction& query)
    : eventName_(std::move(name)),
      rendering_(rendering),
      isPdu_(event.serializeConfig.type == SerializationType::kPdu),
      dataType_(DataTypeOf(event)),
      isFieldKnown_(rendering.fieldPath.empty()) {
  const auto& config = event.serializeConfig.serializedConfig;
  if (isPdu_ && !config.empty() && !maintaind::Decode(config, pdu_)) {
    fault_ = "the layout of the PDU cannot be read";
    return;
  }
  if (rendering.isRaw) {
    return;
  }
  if (isPdu_ && !pdu_.signals.empty()) {
    pduDeserializer_ = std::make_unique<QorS2SDeserializer>(pdu_, StyleOf(rendering));
    isFieldKnown_ = isFieldKnown_ || pduDeserializer_->SetField(rendering.fieldPath);
    fault_ = isFieldKnown_ ? "" : pduDeserializer_->GetDeserializationRetInfo();
    return;
  }
  MakeDeserializer(event, isFromDdsPublisher, query);
}

void SampleRenderer::MakeDeserializer(const EventRegisterInfo& event, bool isFromDdsPublisher,
                                      const QorDeserializer::QueryFunction& query) {
  if (dataType_.empty()) {
    fault_ = "its type is not known";
    return;
  }
  const std::string type = QorDeserializer::SubStdDataType(dataType_);
  if (!datatype::IsReservedName(type) && !datatype::DefinitionTables::Process().Has(type, query)) {
    fault_ = "there is no definition of its type '" + dataType_ + "'";
    return;
  }
  const maintaind::SerializeConfig& config = event.serializeConfig;
  std::unique_ptr<QorDeserializer> deserializer;
  if (config.type == SerializationType::kSomeip && !config.serializedConfig.empty()) {
    maintaind::SerializationNode topNode;
    if (!maintaind::Decode(config.serializedConfig, topNode)) {
      fault_ = "its serialization settings cannot be read";
      return;
    }
    deserializer = std::make_unique<qortools::common::QorSomeipDeserializer>(query, topNode, rendering_.format);
  } else {
    const bool isSomeipForm = config.type == SerializationType::kSomeip || !isFromDdsPublisher;
    deserializer =
        std::make_unique<QorDeserializer>(isSomeipForm ? Protocol::kSomeip : Protocol::kDds, query,
                                          DeserializeTypeOf(config.type), config.structPolicy, rendering_.format);
  }
  if (rendering_.isJson) {
    deserializer->SetJson();
  }
  deserializer->SetTextFilter(rendering_.textFilter);
  if (!deserializer->Prepare(dataType_)) {
    fault_ = deserializer->GetDeserializationRetInfo();
    return;
  }
  isFieldKnown_ = rendering_.fieldPath.empty() || deserializer->SetField(dataType_, rendering_.fieldPath);
  fault_ = isFieldKnown_ ? "" : deserializer->GetDeserializationRetInfo();
  deserializer_ = std::move(deserializer);
}

bool SampleRenderer::Render(DriverType driver, const com::RecvBuffer& sample, SampleInfo& info) {
  info.text.clear();
  info.retInfo.clear();
  info.retCode = QorDeserializer::DeserializationRetCode::kSuccess;
  info.payload = sample.payload;
  if (isPdu_ && !TruncateMsg(info.payload)) {
    log_.Error("QorEventEcho_TruncateMsg" + eventName_, 500) << "[QorEventEcho][Failed to truncate msg]";
    return false;
  }
  if (pduDeserializer_ != nullptr) {
    CustomDeserializationToGetStr(info);
  } else if (deserializer_ != nullptr) {
    QorDeserializationToGetStr(driver, sample, info);
  } else if (!rendering_.isRaw) {
    info.retCode = QorDeserializer::DeserializationRetCode::kTypeUnknown;
    info.retInfo = fault_;
  }
  return true;
}

/// What follows the PDU in a sample is cut off; a sample that is shorter is none.
bool SampleRenderer::TruncateMsg(std::span<const std::uint8_t>& payload) const {
  if (pdu_.length == 0) {
    log_.Debug() << "[QorEventEcho][Not configure truncation][pdu=" << eventName_ << "]";
    return true;
  }
  if (payload.size() < pdu_.length) {
    return false;
  }
  payload = payload.first(pdu_.length);
  return true;
}

void SampleRenderer::QorDeserializationToGetStr(DriverType driver, const com::RecvBuffer& sample, SampleInfo& info) {
  deserializer_->SetBigEndian(driver == DriverType::kDds && IsBigEndian(sample.encapsulation));
  const bool isMbuf = !sample.mbufs.empty() || sample.privateData.data() != nullptr;
  const auto payload = isMbuf ? sample.privateData : info.payload;
  deserializer_->Deserialize(dataType_, eventName_, payload, sample.mbufs, info.text);
  info.retCode = deserializer_->GetDeserializationRetCode();
  info.retInfo = deserializer_->GetDeserializationRetInfo();
}

void SampleRenderer::CustomDeserializationToGetStr(SampleInfo& info) {
  pduDeserializer_->Deserialize(eventName_, info.payload, info.text);
  info.retCode = pduDeserializer_->GetDeserializationRetCode();
  info.retInfo = pduDeserializer_->GetDeserializationRetInfo();
}

}  // namespace qor::qorevent
