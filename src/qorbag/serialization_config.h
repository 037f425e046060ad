// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_SERIALIZATION_CONFIG_H
#define QOR_QORBAG_SERIALIZATION_CONFIG_H

#include <cstdint>
#include <span>

#include "src/common/records/pdu_description.h"
#include "src/common/records/serialization_node.h"

/// What the serialization configuration of a connection says about its payloads, so that they can be printed without
/// the daemon that supplied it. A bag stores the configuration as it came; it is only read here.
namespace qor::qorbag {

/// Of connections with SerializationType::kSomeip. Used by one thread.
class QorSOMEIPConfigSerialize {
 public:
  /// False, with a line in the log, when the bytes are none or not the settings of one type.
  [[nodiscard]] bool SetSerializeData(std::span<const std::uint8_t> bytes);
  const maintaind::SerializationNode& GetSerializationNode() const { return node_; }

 private:
  maintaind::SerializationNode node_;
};

/// Of connections with SerializationType::kPdu. Used by one thread.
class QorPduConfigInfoSerialize {
 public:
  /// False, with a line in the log, when the bytes are none or not the layout of one PDU.
  [[nodiscard]] bool SetSerializeData(std::span<const std::uint8_t> bytes);
  const maintaind::PduDescription& GetPduDescription() const { return pdu_; }

 private:
  maintaind::PduDescription pdu_;
};

}  // namespace qor::qorbag

#endif
