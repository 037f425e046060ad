// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_BAG_CONTENT_H
#define QOR_QORBAG_BAG_CONTENT_H

#include <cstdint>
#include <map>
#include <vector>

#include "src/qorbag/bag_records.h"
#include "src/qorbag/connection.h"
#include "src/qorbag/large_page_allocator.h"

namespace qor::qorbag {

/// What is known of a bag that was opened, without its payloads. Readers of one file can share it.
struct BagContent {
  /// A connection's messages, see MessageIndex::Order.
  using Index = std::vector<MessageIndex, LargePageAllocator<MessageIndex>>;

  /// Where the data of a chunk is.
  struct ChunkPlace {
    std::uint64_t dataPos = 0;
    std::uint32_t size = 0;  ///< of the message records
  };

  /// What of an active file could not be used; at least so many chunks.
  struct Damage {
    std::uint64_t chunkCount = 0;
    std::uint64_t bytes = 0;
  };

  std::uint32_t version = 0;
  FileHeader header;
  bool isClosed = false;                            ///< it was opened by its closing index
  std::map<std::uint32_t, Connection> connections;  ///< by id
  std::vector<ChunkInfo> chunkInfos;
  bool hasIndexes = false;
  std::map<std::uint32_t, Index> indexes;  ///< by connection id; of connections without messages nothing
  std::vector<ChunkPlace> chunks;
  Damage damage;
};

}  // namespace qor::qorbag

#endif
