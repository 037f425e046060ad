// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_COMMON_RECORDS_PDU_DESCRIPTION_H
#define QOR_COMMON_RECORDS_PDU_DESCRIPTION_H

#include <cstdint>
#include <string>
#include <vector>

#include "src/common/records/visit.h"

namespace qor::maintaind {

/// One signal of a PDU, in the terms of the AUTOSAR system template. Bit n of a PDU is bit n % 8 of byte n / 8, counted
/// from the least significant.
struct PduSignal {
  std::string name;
  std::uint32_t bitPosition = 0;   ///< little-endian: of its least significant bit; big-endian: of its most significant
  std::uint32_t bitLength = 0;     ///< 1 to 64
  bool isBigEndian = false;        ///< the most significant byte comes first
  bool isSigned = false;           ///< two's complement
  std::uint64_t initialValue = 0;  ///< the raw value that means: not sent yet; see hasInitialValue
  bool hasInitialValue = false;
  std::string factor;  ///< decimal; physical value = raw value x factor + offset; empty: 1
  std::string offset;  ///< decimal; empty: 0

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("name", s.name...);
    visit("bitPosition", s.bitPosition...);
    visit("bitLength", s.bitLength...);
    visit("isBigEndian", s.isBigEndian...);
    visit("isSigned", s.isSigned...);
    visit("initialValue", s.initialValue...);
    visit("hasInitialValue", s.hasInitialValue...);
    visit("factor", s.factor...);
    visit("offset", s.offset...);
  }
};

/// The bytes of a PDU up to the end of a signal.
inline std::uint64_t EndOf(const PduSignal& signal) {
  constexpr std::uint64_t kByte = 8;
  if (!signal.isBigEndian) {
    return (std::uint64_t{signal.bitPosition} + signal.bitLength + kByte - 1) / kByte;
  }
  const std::uint64_t ahead =
      kByte - 1 - signal.bitPosition % kByte;  // bits of the first byte that are more significant
  return signal.bitPosition / kByte + (ahead + signal.bitLength + kByte - 1) / kByte;
}

/// The layout of a signal-based PDU.
struct PduDescription {
  std::uint32_t length = 0;  ///< bytes; what follows them in a sample is cut off; 0: not configured
  std::vector<PduSignal> signals;

  template <class V, class... S>
  static void Visit(V& visit, S&... s) {
    visit("length", s.length...);
    visit("signals", s.signals...);
  }
};

}  // namespace qor::maintaind

#endif
