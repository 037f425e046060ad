// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_BAG_CONTENT_READER_H
#define QOR_QORBAG_BAG_CONTENT_READER_H

#include <cstdint>
#include <unordered_map>
#include <utility>
#include <vector>

#include "src/qorbag/bag_content.h"
#include "src/qorbag/bag_input.h"
#include "src/qorbag/bag_record_reader.h"
#include "src/qorbag/payload_sizes.h"
#include "src/qorbag/qor_buffer.h"
#include "src/qorbag/record_source.h"

namespace qor::qorbag {

/// Finds out what is in a bag. Whatever stands in the file, it takes time and memory in proportion to the size of the
/// file. Each function is false, with a line in the log for the step that failed, when the bag cannot be read. Used by
/// one thread, for one bag.
class BagContentReader {
 public:
  /// Both must outlive it.
  BagContentReader(BagInput& input, BagContent& content) : input_(input), content_(content) {}

  /// The version and the file header, which come first.
  [[nodiscard]] bool Begin();
  /// Of a bag that was closed, by its closing index. Without indexes that is quick, and there are no messages to read.
  [[nodiscard]] bool StartReading(bool hasIndexes);
  /// Of one that was not: what stands before the first chunk that is not complete. False for versions up to 140.
  /// `isDamaged`: goes on behind chunks that are not complete, and tells how many there were.
  [[nodiscard]] bool StartReadingActiveFile(bool isDamaged);

 private:
  bool ReadConnectionRecords(RecordSource& source);
  bool ReadChunkInfoRecords(RecordSource& source);
  void CountExpected();
  bool StartReadChunkIndexRecord();
  bool ReadActiveChunk(std::uint64_t& position);
  bool ReadChunkEndInfo(const ChunkHeader& header, std::uint64_t position, std::uint64_t dataPos);
  bool ReadNewConnections(RecordSource& source);
  bool FindNextChunk(std::uint64_t& position);
  void CountGap(std::uint64_t begin, std::uint64_t end);
  bool ReadChunkIndexes(RecordSource& source, const ChunkHeader& header, std::uint64_t dataPos, std::uint32_t count);
  bool ReadChunkIndexRecord(RecordSource& source, const BagContent::ChunkPlace& place, std::uint32_t count);
  void SortIndexes();
  bool IsCompressed() const { return content_.header.compression != FileCompressionType::kNone; }
  std::uint64_t DataSize(const ChunkHeader& header) const {
    return IsCompressed() ? header.chunkCompressedSize : header.chunkSize;
  }

  BagInput& input_;
  BagContent& content_;
  BagRecordReader records_;
  std::uint64_t headerEnd_ = 0;    ///< of the file header
  std::uint64_t chunksEnd_ = 0;    ///< behind what was read of the chunks
  std::uint64_t foundPos_ = 0;     ///< the last chunk that was sought and found
  std::uint64_t failedCount_ = 0;  ///< of those, since a chunk could be read
  std::uint64_t vainBytes_ = 0;    ///< read of chunks that could not
  QorBuffer data_;
  PayloadSizes sizes_;
  std::vector<MessageIndex> chunkEntries_;  ///< of the chunk that is read: one connection after the other
  std::vector<std::pair<std::uint32_t, std::uint32_t>> chunkParts_;  ///< connection id and entries
  std::unordered_map<std::uint32_t, std::uint64_t> expectedCounts_;  ///< by connection id, as the closing index tells
};

}  // namespace qor::qorbag

#endif
