// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_CHUNK_SEARCH_H
#define QOR_QORBAG_CHUNK_SEARCH_H

#include <cstdint>
#include <optional>

#include "src/qorbag/bag_input.h"
#include "src/qorbag/qor_buffer.h"
#include "src/qorbag/record_header.h"

namespace qor::qorbag {

/// Bytes that may be read of what only looks like chunks, in sizes of the file: what a file made for it can cost.
inline constexpr std::uint64_t kMostVain = 8;

/// Finds chunks in a file where nothing leads to them. Used by one thread; the input must outlive it.
class ChunkSearch {
 public:
  /// `version` is at least 150: older chunks do not say where they begin.
  ChunkSearch(BagInput& input, std::uint32_t version);

  /// Where the first chunk from a position on begins that says of itself that it begins there and is complete. Nothing
  /// when there is none.
  std::optional<std::uint64_t> FindFrom(std::uint64_t position);

 private:
  bool IsChunk(std::uint64_t position);
  bool HasChunkInfo(std::uint64_t infoPosition, std::uint64_t chunkPosition);

  BagInput& input_;
  const std::uint32_t version_;
  QorBuffer zeros_;  ///< a chunk header with all values zero
  QorBuffer ones_;   ///< with all their bits set
  HeaderFields fields_;
  QorBuffer bytes_;
};

}  // namespace qor::qorbag

#endif
