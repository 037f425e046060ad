// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_CONNECTION_H
#define QOR_QORBAG_CONNECTION_H

#include <cstdint>
#include <span>

#include "src/qorbag/event_description.h"
#include "src/qorbag/qor_buffer.h"
#include "src/qorbag/record_header.h"

namespace qor::qorbag {

/// One recorded event of a bag, and how much of it there is.
struct Connection : EventDescription {
  std::uint32_t id = 0;
  std::uint64_t startTime = 0;  ///< of the first message, as its recorder counted
  std::uint64_t endTime = 0;    ///< of the last
  std::uint64_t msgCount = 0;

  /// Appends the record with what the version has. False, with a line in the log, for what no record can hold.
  [[nodiscard]] bool Encode(std::uint32_t version, QorBuffer& out) const;
  /// From a header whose op code matches. False, with a line in the log, when a field that the version has is missing
  /// or cannot be read.
  [[nodiscard]] bool Decode(const HeaderFields& fields, std::uint32_t version);

 private:
  [[nodiscard]] bool DecodeEventInfo(std::span<const std::uint8_t> blob, std::uint32_t version);
};

}  // namespace qor::qorbag

#endif
