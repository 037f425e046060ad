// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_SD_SD_FAULT_H
#define QOR_SOMEIP_SD_SD_FAULT_H

#include <cstdint>

namespace qor::someip::sd {

/// Why a message or one of its entries was ignored.
enum class SdFault : std::uint8_t {
  kNotServiceDiscovery,  ///< other ids, versions, message type or return code
  kCutShort,             ///< a length that exceeds what is there
  kEntriesLength,        ///< not a multiple of the entry size
  kTooManyEntries,
  kTooManyOptions,
  kInvalidEntry,  ///< an entry with options that are not there or malformed, or with ids that it must not have
  kSenderAddress,
  kTooManyServices,  ///< offers beyond the limits
};

const char* Text(SdFault fault);

}  // namespace qor::someip::sd

#endif
