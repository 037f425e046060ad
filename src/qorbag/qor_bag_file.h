// SPDX-License-Identifier: Apache-2.0
#ifndef QOR_QORBAG_QOR_BAG_FILE_H
#define QOR_QORBAG_QOR_BAG_FILE_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "src/qorbag/bag_file_reader.h"
#include "src/qorbag/bag_file_writer.h"
#include "src/qorbag/bag_format.h"
#include "src/qorbag/event_description.h"

namespace qor::qorbag {

/// What is known about one recorded event of a bag.
struct BagFileMessageInfo {
  std::string eventName;
  std::string dataType;
  std::uint64_t msgCount = 0;
  std::uint64_t startTime = 0;  ///< of its first message, milliseconds
  std::uint64_t endTime = 0;
  maintaind::DriverType driverType = maintaind::DriverType::kDds;
  maintaind::SerializationType serializationType = maintaind::SerializationType::kCm;
  maintaind::EventInfo eventInfo;
};

/// What is known about a bag without reading its messages. Times in milliseconds.
struct BagFileHeadInfo {
  std::string fileName;
  std::uint32_t version = 0;
  std::uint64_t fileSize = 0;  ///< bytes
  std::uint64_t startRecordRealTime = 0;
  std::uint64_t startRecordVirtualTime = 0;
  std::uint64_t stopRecordRealTime = 0;
  std::uint64_t stopRecordVirtualTime = 0;
  FileCompressionType compression = FileCompressionType::kNone;
  bool isClosed = false;                     ///< otherwise only what chunks that are complete hold is known
  std::uint64_t chunkCount = 0;              ///< that are complete
  std::vector<BagFileMessageInfo> messages;  ///< by connection id
};

/// A bag file that is written or read. Not locked: used by one thread at a time.
class QorBagFile {
 public:
  /// What an operation ended with.
  static constexpr int kOk = 0;
  static constexpr int kFailed = -1;
  static constexpr int kNoCompressor = -2;       ///< of OpenWrite: the file is open, and will not be compressed
  static constexpr int kCompressionFailed = -3;  ///< of a chunk
  static constexpr int kDecompressionFailed = -4;

  QorBagFile() = default;
  ~QorBagFile();
  QorBagFile(const QorBagFile&) = delete;
  QorBagFile& operator=(const QorBagFile&) = delete;

  /// Before OpenWrite.
  void SetVersion(std::uint32_t version) { writer_.SetVersion(version); }
  void SetCompressionType(FileCompressionType type) { writer_.SetCompressionType(type); }
  void SetMaxChunkSize(std::uint32_t kibibytes) { writer_.SetMaxChunkSize(kibibytes); }
  /// Of the file that is read, otherwise of the one that is written.
  std::uint32_t GetVersion() const { return reader_.IsOpen() ? reader_.Content()->version : writer_.GetVersion(); }
  FileCompressionType GetCompressionType() const {
    return reader_.IsOpen() ? reader_.Content()->header.compression : writer_.GetCompressionType();
  }

  /// Makes the file and writes what it begins with. `fileName` is what is opened, in the folder `filePath`, and becomes
  /// `file` when it is closed; it must not be there yet. kOk, kFailed, with errno, or kNoCompressor.
  [[nodiscard]] int OpenWrite(const std::string& fileName, const std::string& filePath, const std::string& file);
  bool IsOpen() const { return writer_.IsOpen(); }

  /// Adds a message of `size` bytes; `time` in milliseconds. See BagFileWriter::Write.
  [[nodiscard]] int Write(const EventMsg& msg, std::uint64_t time, const std::uint8_t* data, std::uint32_t size);
  [[nodiscard]] int CloseWrite();

  /// Whether something was written since the last Sync.
  bool IsDirty() const { return writer_.IsDirty(); }
  [[nodiscard]] bool Flush() { return writer_.Flush(); }
  [[nodiscard]] bool Sync() { return writer_.Sync(); }

  /// Opens a bag that was closed, or one that was not. False, with a line in the log, when it cannot be read.
  [[nodiscard]] bool OpenRead(const std::string& name) { return OpenInput(name, BagFileReader::How::kClosed); }
  [[nodiscard]] bool OpenReadActiveFile(const std::string& name) {
    return OpenInput(name, BagFileReader::How::kActive);
  }
  /// An active file as far as anything of it can be read; see BagContent::Damage.
  [[nodiscard]] bool OpenReadDamagedFile(const std::string& name) {
    return OpenInput(name, BagFileReader::How::kDamaged);
  }
  /// The one or the other: names of bags that were not closed end in ".active".
  [[nodiscard]] bool OpenReadByName(const std::string& name);
  /// The same for GetFileHeaderInfo alone: quick, and there may be no messages.
  [[nodiscard]] bool OpenReadForBagHeaderInfo(const std::string& name);
  /// Whether a file is a bag that was not closed and that a repair can read, whatever its name is.
  static bool CanBeFixed(const std::string& name);
  void CloseRead() { reader_.Close(); }
  bool IsReading() const { return reader_.IsOpen(); }

  /// Whether both read the same file.
  bool CheckIsSameBag(const QorBagFile& other) const;
  /// Opens the file that the other one reads, without finding out again what is in it. False when it has changed.
  [[nodiscard]] bool CopyOtherBagFileReadResult(const QorBagFile& other);

  /// Of the file that is read. False when none is.
  [[nodiscard]] bool GetFileHeaderInfo(BagFileHeadInfo& info) const;
  /// Of the file that is read; may be kept.
  const std::shared_ptr<const BagContent>& Content() const { return reader_.Content(); }
  /// Replaces what stands behind the first `offset` bytes of `out` by the payload. kFailed, with a line in the log,
  /// when the file does not hold at that place what its index says; kDecompressionFailed when that cannot be told. With
  /// `connectionId` the message must also be one of that connection.
  [[nodiscard]] int ReadMsgDataIntoStream(const MessageIndex& index, QorBuffer& out, std::uint32_t offset,
                                          std::optional<std::uint32_t> connectionId = std::nullopt);
  /// Bytes of the payload.
  bool ReadMsgDataSize(const MessageIndex& index, std::uint32_t& size) const {
    size = index.size;
    return reader_.IsOpen();
  }

  /// What the file is called in the end, or was opened as.
  const std::string& GetFileName() const { return file_; }
  /// Of the file that is written; see BagFileWriter.
  std::uint64_t GetFileSize() const { return writer_.IsOpen() ? writer_.GetFileSize() : 0; }
  /// Messages that wait in the open chunk, and those of chunks that could not be written.
  std::uint64_t GetOpenMessages() const { return writer_.GetOpenMessages(); }
  std::uint64_t GetLostMessages() const { return writer_.GetLostMessages(); }

 private:
  bool OpenInput(const std::string& name, BagFileReader::How how);

  BagFileWriter writer_;
  BagFileReader reader_;
  std::string writeName_;  ///< of the open file
  std::string file_;
};

}  // namespace qor::qorbag

#endif
