// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_CHUNK_CHECK_H
#define QOR_QORBAG_CHUNK_CHECK_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "platform/zel/compressor.h"
#include "src/qorbag/bag_faults.h"
#include "src/qorbag/bag_input.h"
#include "src/qorbag/bag_record_reader.h"
#include "src/qorbag/bag_records.h"
#include "src/qorbag/connection.h"
#include "src/qorbag/qor_buffer.h"
#include "src/qorbag/record_source.h"

namespace qor::qorbag {

/// What a chunk really holds.
struct ChunkFacts {
  /// Of one connection in the chunk.
  struct Times {
    std::uint64_t begin = UINT64_MAX;
    std::uint64_t end = 0;
  };

  bool isKnown = false;  ///< otherwise the data cannot be read, and what follows from it is not whole
  ChunkInfo info;        ///< by its messages
  std::map<std::uint32_t, Times> times;
  std::vector<Connection> newConnections;
  std::uint64_t messageCount = 0;
  std::uint64_t end = 0;  ///< position behind the chunk, or behind what was read of it
};

/// Checks one chunk after the other. Used by one thread; the input and the faults must outlive it.
class ChunkCheck {
 public:
  ChunkCheck(BagInput& input, std::uint32_t version, FileCompressionType compression, BagFaults& faults);

  /// False when it cannot be told where the chunk ends. What is wrong with it is among the faults.
  bool Check(std::uint64_t position, ChunkFacts& facts);

 private:
  /// A message record as it stands in the data.
  struct Record {
    std::uint64_t offset = 0;
    std::uint32_t connectionId = 0;
    std::uint64_t time = 0;
    bool isIndexed = false;
  };

  bool CheckAt(RecordSource& source, ChunkFacts& facts);
  bool ReadData(const ChunkHeader& header, RecordSource& source);
  bool Decompress(std::uint32_t chunkSize);
  bool WalkRecords(ChunkFacts& facts);
  bool CheckIndexes(const ChunkHeader& header, RecordSource& source, bool areRecordsKnown);
  bool CheckIndex(RecordSource& source, bool areRecordsKnown);
  void CheckEntry(const MessageIndex& entry, std::uint64_t chunkDataPos, std::uint32_t id, std::uint64_t position);
  bool CheckEndInfo(const ChunkHeader& header, RecordSource& source, bool areRecordsKnown, ChunkFacts& facts);
  bool Fault(std::uint64_t position, std::string text);

  BagInput& input_;
  const std::uint32_t version_;
  const FileCompressionType compression_;
  BagFaults& faults_;
  BagRecordReader reader_;
  std::unique_ptr<zel::ddt::Compressor> decompressor_;
  std::uint64_t chunkPos_ = 0;
  std::uint64_t dataPos_ = 0;
  QorBuffer block_;
  std::vector<std::uint8_t> decompressed_;
  std::span<const std::uint8_t> data_;  ///< the message records
  std::vector<Record> records_;         ///< in the order of their places
};

}  // namespace qor::qorbag

#endif
