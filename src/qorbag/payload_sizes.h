// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_PAYLOAD_SIZES_H
#define QOR_QORBAG_PAYLOAD_SIZES_H

#include <cstdint>
#include <span>
#include <vector>

#include "src/qorbag/bag_records.h"

namespace qor::qorbag {

/// Finds how long the messages of a chunk are: a record ends where the next one begins. Keeps its memory from one chunk
/// to the next. Used by one thread.
class PayloadSizes {
 public:
  /// Sets the size of each entry. They are all of a chunk, in any order; its records take `chunkSize` bytes from the
  /// position `begin` on, and each begins within them. False when two overlap, one has no room, or none is the first.
  [[nodiscard]] bool Set(std::span<MessageIndex> entries, std::uint64_t begin, std::uint32_t chunkSize);

 private:
  bool SetByMarks(std::span<MessageIndex> entries, std::uint64_t begin, std::uint32_t chunkSize);
  bool SetByOrder(std::span<MessageIndex> entries, std::uint64_t begin, std::uint32_t chunkSize);

  std::vector<std::uint64_t> marks_;  ///< a bit for each byte of the chunk: whether a record begins there
  std::vector<MessageIndex*> order_;
};

}  // namespace qor::qorbag

#endif
