// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COMMON_RECORDS_SERIALIZE_CONFIG_H
#define QOR_COMMON_RECORDS_SERIALIZE_CONFIG_H

#include <cstdint>
#include <vector>

#include "src/common/records/visit.h"

namespace qor::maintaind {

/// How an entity's payload is serialized.
enum class SerializationType : std::uint32_t {
  kCm = 0,      ///< the middleware's own form
  kRos = 1,     ///< ROS messages
  kSomeip = 2,  ///< SOME/IP with the settings in `serializedConfig`
  kPdu = 3,     ///< signal-based PDU with the layout in `serializedConfig`
};

/// Whether the padding after the members of the outermost structure is part of the payload.
enum class StructSerializationPolicy : std::uint8_t { kAlignOuterLayer = 0, kDisableOuterLayerAlignment = 1 };

/// The serialization configuration of one entity.
struct SerializeConfig {
  SerializationType type = SerializationType::kCm;
  StructSerializationPolicy structPolicy = StructSerializationPolicy::kAlignOuterLayer;
  /// kSomeip: a SerializationNode, kPdu: a PduDescription, as RecordWriter writes them; empty: none, as of kCm and
  /// kRos.
  std::vector<std::uint8_t> serializedConfig;

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("type", s.type...);
    visit("structPolicy", s.structPolicy...);
    visit("serializedConfig", s.serializedConfig...);
  }
};

}  // namespace qor::maintaind

#endif
