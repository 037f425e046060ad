// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QOREVENT_SAMPLE_RENDERER_H
#define QOR_QOREVENT_SAMPLE_RENDERER_H

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "platform/com/recv_buffer.h"
#include "src/common/records/event_info.h"
#include "src/common/records/pdu_description.h"
#include "src/datatype/qor_deserializer.h"
#include "src/datatype/qor_s2s_deserializer.h"
#include "src/qorevent/echo_options.h"

namespace qor::qorevent {

/// Prints the samples of one event: chooses the deserializer that its registration asks for and keeps it. Used by one
/// thread at a time.
class SampleRenderer {
 public:
  /// `name` is the label of each sample. `isFromDdsPublisher`: the event has a DDS binding too, so its payload is in
  /// the middleware's own form on both.
  SampleRenderer(std::string name, const maintaind::EventRegisterInfo& event, bool isFromDdsPublisher,
                 const EchoRendering& rendering, const QorDeserializer::QueryFunction& query);

  /// False when the event has no type definition that can be used: Render then leaves the text empty, and the code and
  /// the reason say so, unless the bytes alone are wanted.
  bool IsDescribed() const { return deserializer_ != nullptr || pduDeserializer_ != nullptr; }
  /// Why it is not described; empty when it is.
  const std::string& Fault() const { return fault_; }
  /// Whether the part that was asked for is there; Fault() tells why not.
  bool IsFieldKnown() const { return isFieldKnown_; }
  const std::string& DataType() const { return dataType_; }

  /// Fills the text, the code, its reason and the payload of `info`. False when the sample is to be dropped.
  bool Render(maintaind::DriverType driver, const com::RecvBuffer& sample, SampleInfo& info);

 private:
  void MakeDeserializer(const maintaind::EventRegisterInfo& event, bool isFromDdsPublisher,
                        const QorDeserializer::QueryFunction& query);
  bool TruncateMsg(std::span<const std::uint8_t>& payload) const;
  void QorDeserializationToGetStr(maintaind::DriverType driver, const com::RecvBuffer& sample, SampleInfo& info);
  void CustomDeserializationToGetStr(SampleInfo& info);

  const QorLog log_{"QorEventEcho"};
  const std::string eventName_;
  const EchoRendering rendering_;
  const bool isPdu_;
  std::string dataType_;
  std::string fault_;
  bool isFieldKnown_;
  maintaind::PduDescription pdu_;
  std::unique_ptr<QorDeserializer> deserializer_;
  std::unique_ptr<QorS2SDeserializer> pduDeserializer_;
};

}  // namespace qor::qorevent

#endif
