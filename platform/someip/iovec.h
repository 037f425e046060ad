// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_SOMEIP_IOVEC_H
#define QOR_SOMEIP_IOVEC_H

#include <sys/uio.h>

#include <cstdint>
#include <span>

namespace qor::someip {

/// For calls of the system that only read.
inline iovec ToIovec(std::span<const std::uint8_t> bytes) {
  return {const_cast<std::uint8_t*>(bytes.data()), bytes.size()};
}

}  // namespace qor::someip

#endif
