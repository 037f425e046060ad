// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COM_RECV_BUFFER_H
#define QOR_COM_RECV_BUFFER_H

#include <cstdint>
#include <functional>
#include <span>
#include <utility>

#include "platform/com/byte_buffer.h"
#include "platform/com/e2e/check_status.h"
#include "platform/dp/mbuf.h"

namespace qor::com {

/// One received sample. All views end with the handler call: keep the payload with KeepPayload, copy what else must
/// stay.
struct RecvBuffer {
  /// Puts the payload into `buffer`, in place of what is there: without a copy where the transport can use the memory
  /// of `buffer` instead. Once; the views stay valid as long as `buffer` is not changed.
  void KeepPayload(ByteBuffer& buffer) const {
    if (memory != nullptr) {
      std::swap(*memory, buffer);
    } else {
      buffer.SetSize(0);
      buffer.Append(payload);
    }
  }

  /// The payload alone: no encapsulation header, no message header, no E2E header. For mbuf events the encoded sample
  /// as it travelled, of which `privateData` and `mbufs` are the parts; publishing these bytes again publishes the same
  /// sample.
  std::span<const std::uint8_t> payload;
  std::span<const std::uint8_t> privateData;  ///< mbuf events: what precedes the chain
  std::span<const OutMbufData> mbufs;         ///< mbuf events: the chain; empty otherwise
  std::uint64_t sequenceNumber = 0;           ///< the writer's, from 1; 0: the wire has none
  std::int64_t sourceTimestampNs = 0;         ///< the writer's realtime clock; 0: the wire has none
  std::uint16_t encapsulation = 0;            ///< RTPS encapsulation identifier; 0 where the wire has none
  e2e::CheckStatus e2eStatus = e2e::CheckStatus::kCheckDisabled;  ///< what the check of a protected event says
  ByteBuffer* memory = nullptr;  ///< that of the payload, with nothing but it; null: the transport needs it
};

/// Called on the transport's receive threads, for one subscriber by one thread at a time. Must not block.
using RecvHandler = std::function<void(const RecvBuffer&)>;

}  // namespace qor::com

#endif
