// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DATATYPE_SERIALIZE_CONFIG_HELPER_H
#define QOR_DATATYPE_SERIALIZE_CONFIG_HELPER_H

#include <cstddef>
#include <cstdint>

#include "src/datatype/payload_cursor.h"

namespace qor::datatype {

/// What follows from SOME/IP serialization settings. Any thread.
class SerializeConfigHelper {
 public:
  /// The number in a length field of 1, 2 or 4 bytes, which must remain.
  static std::uint32_t GetDataLengthByLengthField(PayloadCursor& cursor, std::uint8_t size, bool isBigEndian) {
    switch (size) {
      case 1:
        return cursor.Take<std::uint8_t>(isBigEndian);
      case 2:
        return cursor.Take<std::uint16_t>(isBigEndian);
      default:
        return cursor.Take<std::uint32_t>(isBigEndian);
    }
  }

  /// Bytes from an offset to the next multiple of the alignment; 0 and 1 align nothing.
  static std::size_t GetAlignmentPaddingSize(std::size_t offset, std::uint8_t alignment) {
    return alignment < 2 ? 0 : (alignment - offset % alignment) % alignment;
  }
};

}  // namespace qor::datatype

#endif
