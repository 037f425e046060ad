// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_BAG_FILE_WRITER_H
#define QOR_QORBAG_BAG_FILE_WRITER_H

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/zel/compressor.h"
#include "src/qorbag/bag_output.h"
#include "src/qorbag/bag_records.h"
#include "src/qorbag/connection.h"
#include "src/qorbag/event_description.h"
#include "src/qorbag/qor_buffer.h"
#include "src/qorbag/qor_chunk_manager.h"

namespace qor::qorbag {

/// The clocks of a recording, in milliseconds: the system's, and the platform's virtual clock, or again the system's
/// where there is none.
struct RecordTimes {
  std::uint64_t realTime = 0;
  std::uint64_t virtualTime = 0;

  static RecordTimes Now();
};

/// Lays a bag out in a file: messages are gathered in memory and go there a chunk at a time. A chunk that cannot be
/// written is lost as a whole, and the file is as it was before it. Used by one thread.
class BagFileWriter {
 public:
  static constexpr std::uint32_t kDefaultChunkSize = 1048576;

  enum class Result : std::uint8_t { kOk, kFailed, kCompressionFailed };

  /// Before Open. A version of 0 is the current one.
  void SetVersion(std::uint32_t version) { version_ = version == 0 ? CURRENT_BAG_VERSION : version; }
  void SetCompressionType(FileCompressionType type) { compression_ = type; }
  void SetMaxChunkSize(std::uint32_t kibibytes);

  std::uint32_t GetVersion() const { return version_; }
  FileCompressionType GetCompressionType() const { return compression_; }

  /// Writes what the file begins with. kCompressionFailed: the file is open, and not compressed.
  [[nodiscard]] Result Open(std::unique_ptr<BagOutput> output, const std::string& name);
  bool IsOpen() const { return output_ != nullptr; }

  /// Adds a message. `time` is in milliseconds; at most 4 GiB of payload. kFailed and kCompressionFailed, with a line
  /// in the log: the chunk that the message closed is not in the file, or only the message, when it is too long or its
  /// event cannot be described in this version.
  [[nodiscard]] Result Write(const EventMsg& msg, std::uint64_t time, std::span<const std::uint8_t> payload);
  /// Writes the open chunk, the closing index and the file header, and closes the file, whatever fails before; errno
  /// tells of the first failure.
  [[nodiscard]] Result Close();

  /// Messages that wait in the open chunk, and those of chunks that could not be written.
  std::uint64_t GetOpenMessages() const { return isChunkOpen_ ? chunk_.MessageCount() : 0; }
  std::uint64_t GetLostMessages() const { return lostMessages_; }
  /// Bytes that the file would have now, with the open chunk; when that is to be compressed, without it.
  std::uint64_t GetFileSize() const;
  /// Whether something was written since the last Sync.
  bool IsDirty() const { return isDirty_; }
  /// To the system, and to the disk.
  [[nodiscard]] bool Flush();
  [[nodiscard]] bool Sync();

 private:
  bool SetUpCompressor();
  bool WriteStart();
  void StartChunkWriting();
  std::optional<std::uint32_t> FindConnection(const EventMsg& msg);
  Result StopChunkWriting();
  Result FinishChunk();
  bool BuildChunkEnd(ChunkHeader& header);
  bool WriteChunkEndInfoRecord();
  bool WriteChunk(const ChunkHeader& header);
  bool WriteChunkHeader(const ChunkHeader& header);
  void SetEventSumInfo();
  bool WriteClosingIndex();
  bool UpdateFileHeader();
  bool WriteFileHeader();

  std::uint32_t version_ = CURRENT_BAG_VERSION;
  FileCompressionType compression_ = FileCompressionType::kNone;
  std::uint32_t maxChunkSize_ = kDefaultChunkSize;
  std::string name_;
  std::unique_ptr<BagOutput> output_;
  std::unique_ptr<zel::ddt::Compressor> compressor_;
  std::uint64_t fileHeaderPos_ = 0;
  FileHeader fileHeader_;
  bool isDirty_ = false;

  std::vector<Connection> connections_;  ///< by id
  std::map<EventIdentity, std::uint32_t> ids_;
  std::unordered_map<const EventDescription*, std::uint32_t> known_;  ///< descriptions that were looked up
  std::vector<std::shared_ptr<const EventDescription>> keptAlive_;    // so that no address of them comes again
  std::vector<std::uint32_t> newConnections_;                         ///< in no chunk that was written
  std::vector<ChunkInfo> chunkInfos_;

  std::uint64_t lostMessages_ = 0;
  bool isChunkOpen_ = false;
  std::uint64_t chunkPos_ = 0;
  std::uint32_t chunkHeaderSize_ = 0;
  QorChunkManager chunk_;
  std::vector<std::uint8_t> compressed_;
  std::size_t compressedSize_ = 0;
  QorBuffer index_;
  QorBuffer chunkInfoRecord_;
  QorBuffer connectionRecords_;  ///< behind their count
  QorBuffer scratch_;
};

}  // namespace qor::qorbag

#endif
