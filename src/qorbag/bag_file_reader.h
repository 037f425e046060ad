// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_BAG_FILE_READER_H
#define QOR_QORBAG_BAG_FILE_READER_H

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/zel/compressor.h"
#include "src/qorbag/bag_input.h"
#include "src/qorbag/bag_records.h"
#include "src/qorbag/connection.h"
#include "src/qorbag/payload_sizes.h"
#include "src/qorbag/qor_buffer.h"
#include "src/qorbag/record_source.h"

namespace qor::qorbag {

/// Reads a bag: what is in it when it is opened, messages when they are asked for. Whatever stands in the file, it
/// takes time and memory in proportion to the size of the file. Used by one thread at a time.
class BagFileReader {
 public:
  /// A connection's messages, in the order of time.
  using Index = std::vector<MessageIndex>;

  /// Opens a bag that was closed. False, with a line in the log for the step that failed; then nothing is open.
  [[nodiscard]] bool Open(std::unique_ptr<BagInput> input);
  /// Opens one that was not: what stands before the first chunk that is not complete. False for versions up to 140.
  [[nodiscard]] bool OpenActive(std::unique_ptr<BagInput> input);
  void Close();
  bool IsOpen() const { return input_ != nullptr; }

  std::uint32_t Version() const { return version_; }
  const FileHeader& Header() const { return fileHeader_; }
  std::uint64_t FileSize() const { return input_ != nullptr ? input_->Size() : 0; }
  /// By id.
  const std::map<std::uint32_t, Connection>& Connections() const { return connections_; }
  const std::vector<ChunkInfo>& ChunkInfos() const { return chunkInfos_; }
  /// By connection id; of connections without messages nothing.
  const std::map<std::uint32_t, Index>& Indexes() const { return indexes_; }

  /// Replaces what stands behind the first `offset` bytes of `out` by the payload. False, with a line in the log, when
  /// the file does not hold at that place what its index says.
  [[nodiscard]] bool ReadMsgDataIntoStream(const MessageIndex& index, QorBuffer& out, std::uint32_t offset);

 private:
  /// Where the data of a chunk is.
  struct ChunkPlace {
    std::uint64_t dataPos = 0;
    std::uint32_t size = 0;  ///< of the message records
  };

  bool Begin(std::unique_ptr<BagInput> input);
  bool ReadVersion();
  bool ReadVersionLine(const std::string& line);
  bool ReadFileHeaderRecord();
  bool SetUpDecompressor();
  bool StartReading();
  bool ReadConnectionRecord(RecordSource& source, Connection& connection);
  bool ReadConnectionRecords(RecordSource& source);
  bool ReadChunkInfoRecord(RecordSource& source, ChunkInfo& info);
  bool ReadChunkInfoRecords(RecordSource& source);
  void CountExpected();
  bool StartReadChunkIndexRecord();
  bool StartReadingActiveFile();
  bool ReadChunkEndInfo(const ChunkHeader& header, std::uint64_t dataPos);
  bool ReadChunkHeader(RecordSource& source, ChunkHeader& header);
  std::uint64_t DataSize(const ChunkHeader& header) const;
  bool ReadChunkIndexes(RecordSource& source, const ChunkHeader& header, std::uint64_t dataPos, std::uint32_t count);
  bool ReadChunkIndexRecord(RecordSource& source, const ChunkPlace& place, std::uint32_t count);
  void SortIndexes();
  bool DecompressChunkToStream(std::uint32_t chunk);

  std::unique_ptr<BagInput> input_;
  std::uint32_t version_ = 0;
  std::uint64_t fileHeaderPos_ = 0;
  std::uint64_t firstChunkPos_ = 0;
  FileHeader fileHeader_;
  std::map<std::uint32_t, Connection> connections_;
  std::vector<ChunkInfo> chunkInfos_;
  std::map<std::uint32_t, Index> indexes_;
  std::vector<ChunkPlace> chunks_;
  std::uint64_t chunksEnd_ = 0;  ///< behind what was read of the chunks

  HeaderFields fields_;
  QorBuffer data_;
  PayloadSizes sizes_;
  std::vector<MessageIndex> chunkEntries_;  ///< of the chunk that is read: one connection after the other
  std::vector<std::pair<std::uint32_t, std::uint32_t>> chunkParts_;  ///< connection id and entries
  std::unordered_map<std::uint32_t, std::uint64_t> expectedCounts_;  ///< by connection id, as the closing index tells

  std::unique_ptr<zel::ddt::Compressor> decompressor_;
  QorBuffer block_;
  std::vector<std::uint8_t> chunkData_;
  std::size_t chunkDataSize_ = 0;
  std::uint32_t currentChunk_ = 0;  ///< the one that chunkData_ has; see chunkDataSize_
};

}  // namespace qor::qorbag

#endif
