// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_RECORDED_MBUF_H
#define QOR_QORBAG_RECORDED_MBUF_H

#include <cstdint>
#include <span>

#include "platform/dp/mbuf.h"
#include "src/qorbag/event_description.h"

namespace qor::qorbag {

/// Whether the messages of an event are mbuf samples.
bool IsUsingRawData(const EventDescription& event);

enum class MbufFault {
  kNone,
  kPrivateData,  ///< there are fewer bytes than the private data is said to have
  kChain,        ///< the same of a buffer of the chain
};

/// Takes a recorded mbuf message apart; `sample` keeps its memory and looks into `bytes`. In bags before version 200
/// everything behind the private data is one buffer.
[[nodiscard]] MbufFault DecodeRecordedMbuf(std::uint32_t bagVersion, std::span<const std::uint8_t> bytes,
                                           dp::MbufSample& sample);

}  // namespace qor::qorbag

#endif
