// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_MESSAGE_PREPARER_H
#define QOR_QORBAG_MESSAGE_PREPARER_H

#include <cstdint>
#include <span>
#include <vector>

#include "platform/dp/mbuf.h"

namespace qor::qorbag {

/// Makes of a recorded message the payload that is published. Keeps its memory from one message to the next. Used by
/// one thread.
class MessagePreparer {
 public:
  enum class Kind {
    kNormal,     ///< published as it was recorded
    kRaw,        ///< an mbuf sample, published as one
    kFlattened,  ///< an mbuf sample, published as a plain one: the private data, then the bytes of the chain
  };

  /// False, with a line in the log, when it is no message of the kind.
  [[nodiscard]] bool PreparePubMsg(Kind kind, std::uint32_t bagVersion, std::span<const std::uint8_t> recorded);

  /// Of the last message, while that is there: for mbuf events the encoded sample.
  std::span<const std::uint8_t> Payload() const { return payload_; }

 private:
  bool Decode(std::uint32_t bagVersion, std::span<const std::uint8_t> recorded);
  void ChangePubMsgBeforeBagV200();
  void ChangePubMsgForNormal();

  dp::MbufSample sample_;
  std::vector<std::uint8_t> bytes_;
  std::span<const std::uint8_t> payload_;
};

}  // namespace qor::qorbag

#endif
