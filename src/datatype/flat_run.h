// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DATATYPE_FLAT_RUN_H
#define QOR_DATATYPE_FLAT_RUN_H

#include <cstddef>
#include <cstdint>

namespace qor::datatype {

/// How the bytes of a flat run are to be read.
struct FlatReading {
  bool isBigEndian = false;
  bool hasPadding = false;
};

/// A structure of numbers and of such structures, all without length fields and tags: its numbers have fixed places in
/// the payload, and between them stands the same text every time.
struct FlatRun {
  std::uint32_t firstItem = 0;
  std::uint32_t itemCount = 0;  ///< 0: the structure is none
  std::uint64_t size = 0;       ///< bytes of the numbers
  std::uint64_t padding = 0;    ///< bytes that definitions tell between and behind them
  std::size_t longestText = 0;  ///< that one value can take
  std::size_t endText = 0;      ///< offset of what stands behind the last number
  std::uint32_t endSize = 0;
  bool isBigEndian = true;  ///< by the settings; without settings not used

  std::uint64_t SizeOf(FlatReading reading) const { return size + (reading.hasPadding ? padding : 0); }
};

}  // namespace qor::datatype

#endif
