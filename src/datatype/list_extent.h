// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_DATATYPE_LIST_EXTENT_H
#define QOR_DATATYPE_LIST_EXTENT_H

#include <cstddef>
#include <cstdint>

namespace qor::datatype {

/// How far the elements of a list reach: by their number, by their bytes, or both.
struct ListExtent {
  bool isCounted = true;
  std::uint32_t count = 0;  ///< when counted
  bool hasEnd = false;
  std::size_t end = 0;       ///< offset, when there is one
  std::size_t outerEnd = 0;  ///< of what is around the list
};

}  // namespace qor::datatype

#endif
