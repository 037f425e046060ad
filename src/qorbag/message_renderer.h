// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_MESSAGE_RENDERER_H
#define QOR_QORBAG_MESSAGE_RENDERER_H

#include <cstdint>
#include <span>

#include "platform/dp/mbuf.h"
#include "src/qorbag/connection.h"
#include "src/qorbag/recorded_definitions.h"
#include "src/qorevent/sample_renderer.h"

namespace qor::qorbag {

/// Prints the messages of one connection as qorevent::SampleRenderer prints samples, by the definitions of the bag.
/// Used by one thread at a time.
class MessageRenderer {
 public:
  /// `definitions` must outlive the construction. `isFromDdsPublisher`: as of SampleRenderer.
  MessageRenderer(const Connection& connection, const qorevent::EchoRendering& rendering,
                  const RecordedDefinitions& definitions, bool isFromDdsPublisher);

  /// As of SampleRenderer.
  bool IsDescribed() const { return renderer_.IsDescribed(); }
  const std::string& Fault() const { return renderer_.Fault(); }
  bool IsFieldKnown() const { return renderer_.IsFieldKnown(); }

  /// Fills `info` with a message of a bag of this version; `time` in milliseconds. False when it is no message of this
  /// event.
  bool Render(std::uint32_t bagVersion, std::uint64_t time, std::span<const std::uint8_t> payload,
              qorevent::SampleInfo& info);

 private:
  const maintaind::DriverType driver_;
  const bool isMbuf_;
  qorevent::SampleRenderer renderer_;
  dp::MbufSample mbuf_;
};

}  // namespace qor::qorbag

#endif
