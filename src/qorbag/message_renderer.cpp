// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/message_renderer.h"

#include <chrono>

#include "platform/com/recv_buffer.h"
#include "src/qorbag/recorded_mbuf.h"

namespace qor::qorbag {
namespace {

constexpr std::uint16_t kLittleEndianCdr = 1;  // a bag has no encapsulation headers

datatype::QueryFunction QueryOf(const RecordedDefinitions& definitions) {
  return [&definitions](datatype::DefinitionTexts& texts) {
    texts.insert(definitions.Texts().begin(), definitions.Texts().end());
    return true;
  };
}

}  // namespace

MessageRenderer::MessageRenderer(const Connection& connection, const qorevent::EchoRendering& rendering,
                                 const RecordedDefinitions& definitions, bool isFromDdsPublisher)
    : driver_(connection.driverType),
      isMbuf_(IsUsingRawData(connection)),
      renderer_(connection.eventName, RegistrationOf(connection), isFromDdsPublisher, rendering, QueryOf(definitions)) {
}

bool MessageRenderer::Render(std::uint32_t bagVersion, std::uint64_t time, std::span<const std::uint8_t> payload,
                             qorevent::SampleInfo& info) {
  com::RecvBuffer sample;
  sample.payload = payload;
  sample.encapsulation = kLittleEndianCdr;
  if (isMbuf_) {
    if (DecodeRecordedMbuf(bagVersion, payload, mbuf_) != MbufFault::kNone) {
      return false;
    }
    sample.privateData = mbuf_.privateData;
    sample.mbufs = mbuf_.chain;
  }
  info.receivedAt = std::chrono::system_clock::time_point(std::chrono::milliseconds(time));
  return renderer_.Render(driver_, sample, info);
}

}  // namespace qor::qorbag
