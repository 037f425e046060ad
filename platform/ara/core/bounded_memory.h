// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_ARA_CORE_BOUNDED_MEMORY_H
#define QOR_ARA_CORE_BOUNDED_MEMORY_H

#include <cerrno>
#include <cstddef>
#include <cstring>

/// Copies that know the size of what they write into, with the meaning of C11 Annex K. Any thread.
namespace qor {

using errno_t = int;

/// Fills `count` bytes. ERANGE, with the whole destination filled, when it has fewer; EINVAL without a destination.
inline errno_t memset_s(void* destination, std::size_t destinationSize, int value, std::size_t count) {
  if (destination == nullptr) {
    return destinationSize == 0 && count == 0 ? 0 : EINVAL;
  }
  std::memset(destination, value, count < destinationSize ? count : destinationSize);
  return count <= destinationSize ? 0 : ERANGE;
}

/// Copies `count` bytes. ERANGE, with the whole destination set to zero, when it has fewer; EINVAL when one is missing.
inline errno_t memcpy_s(void* destination, std::size_t destinationSize, const void* source, std::size_t count) {
  if (count == 0) {
    return 0;
  }
  if (destination == nullptr || source == nullptr) {
    return EINVAL;
  }
  if (count > destinationSize) {
    std::memset(destination, 0, destinationSize);
    return ERANGE;
  }
  std::memcpy(destination, source, count);
  return 0;
}

}  // namespace qor

#endif
