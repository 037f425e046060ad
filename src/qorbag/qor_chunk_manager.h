// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_QOR_CHUNK_MANAGER_H
#define QOR_QORBAG_QOR_CHUNK_MANAGER_H

#include <cstdint>
#include <span>
#include <vector>

#include "src/qorbag/bag_records.h"
#include "src/qorbag/connection.h"
#include "src/qorbag/qor_buffer.h"

namespace qor::qorbag {

/// The open chunk of a bag that is written: its message records as they go to the file, and where each is. Keeps its
/// memory from one chunk to the next. Used by one thread.
class QorChunkManager {
 public:
  /// Begins a chunk whose first message record goes to `dataPos` of the file. With `isCompressed` the messages are
  /// found by their place in the chunk.
  void Begin(std::uint64_t dataPos, bool isCompressed);

  /// Adds a message. With `isLast` the chunk takes no more: the payload is not copied, and must be there until it is
  /// written.
  void SetMessageRecord(std::uint32_t connectionId, std::uint64_t time, std::span<const std::uint8_t> payload,
                        bool isLast);

  std::uint64_t MessageCount() const { return messageCount_; }
  /// Bytes of the message records.
  std::uint64_t ChunkSize() const { return records_.GetSize() + lastPayload_.size(); }
  /// What a message takes in the chunk.
  static std::uint64_t RecordSize(std::size_t payloadSize) { return kMessagePayloadAt + std::uint64_t{payloadSize}; }

  /// The records in one piece, but for the payload of the last.
  std::span<const std::uint8_t> Records() const { return records_.Bytes(); }
  std::span<const std::uint8_t> LastPayload() const { return lastPayload_; }
  /// With the last payload, which is copied now.
  std::span<const std::uint8_t> AllRecords();

  /// Times and counts; the connections in the order of their ids. `chunkPos` is the caller's.
  const ChunkInfo& Info();
  /// Adds what the chunk has of a connection to its statistics.
  void AddStatistics(Connection& connection) const;
  /// Appends the index records, one a connection, each in the order of time.
  void EncodeIndex(std::uint32_t version, QorBuffer& out);

 private:
  /// The messages of one connection in the chunk.
  struct Entries {
    std::vector<MessageIndex> list;
    std::uint64_t earliest = UINT64_MAX;
    std::uint64_t latest = 0;
    bool isSorted = true;
  };

  QorBuffer records_;
  std::span<const std::uint8_t> lastPayload_;
  std::uint64_t messageCount_ = 0;
  std::uint64_t dataPos_ = 0;
  bool isCompressed_ = false;
  std::vector<Entries> entries_;            ///< by connection id
  std::vector<std::uint32_t> connections_;  ///< those that have messages
  ChunkInfo info_;
};

}  // namespace qor::qorbag

#endif
