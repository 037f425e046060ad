// SPDX-License-Identifier: Apache-2.0
#include "src/qorbag/bag_file_writer.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <string_view>
#include <utility>

#include "src/qorbag/bag_log.h"

namespace qor::qorbag {
namespace {

bool WriteRecords(BagOutput& output, const QorBuffer& records) {
  return output.Write(records.Bytes()) || Failed("WriteRecordHeader: write failed!");
}

std::span<const std::uint8_t> AsBytes(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

}  // namespace

RecordTimes RecordTimes::Now() {
  constexpr clockid_t kVirtualClock = 101;
  constexpr std::uint64_t kMilli = 1000;
  constexpr std::uint64_t kNanosOfAMilli = 1000000;
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  RecordTimes times;
  times.realTime = static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
  std::timespec time{};
  const bool isThere = ::clock_gettime(kVirtualClock, &time) == 0;
  times.virtualTime = isThere ? static_cast<std::uint64_t>(time.tv_sec) * kMilli +
                                    static_cast<std::uint64_t>(time.tv_nsec) / kNanosOfAMilli
                              : times.realTime;
  return times;
}

void BagFileWriter::SetMaxChunkSize(std::uint32_t kibibytes) {
  constexpr std::uint64_t kKibi = 1024;
  maxChunkSize_ = static_cast<std::uint32_t>(std::min<std::uint64_t>(kibibytes * kKibi, UINT32_MAX));
}

BagFileWriter::Result BagFileWriter::Open(std::unique_ptr<BagOutput> output, const std::string& name) {
  output_ = std::move(output);
  name_ = name;
  const bool isCompressorReady = SetUpCompressor();
  if (!WriteStart()) {
    output_ = nullptr;
    return Result::kFailed;
  }
  const RecordTimes start = RecordTimes::Now();
  fileHeader_.startRecordRealTime = start.realTime;
  fileHeader_.startRecordVirtualTime = start.virtualTime;
  return isCompressorReady ? Result::kOk : Result::kCompressionFailed;
}

bool BagFileWriter::SetUpCompressor() {
  if (compression_ == FileCompressionType::kNone) {
    return true;
  }
  if (version_ < kWithCompression) {
    kLog.Warn() << "A bag of version " << version_ << " cannot be compressed, so use none compression.";
    compression_ = FileCompressionType::kNone;
    return true;
  }
  compressor_ = std::make_unique<zel::ddt::Compressor>(static_cast<zel::ddt::CompressionType>(compression_),
                                                       zel::ddt::CompressorAction::kCompress);
  if (compressor_->Init() == 0) {
    return true;
  }
  compressor_ = nullptr;
  compression_ = FileCompressionType::kNone;
  return Failed("Compressor init failed, so use none compression.");
}

bool BagFileWriter::WriteStart() {
  const std::string line = VersionLine(version_);
  fileHeaderPos_ = line.size();
  fileHeader_ = {};
  fileHeader_.compression = compression_;
  scratch_.SetSize(0);
  fileHeader_.Encode(version_, scratch_);
  fileHeader_.nextChunkPos = fileHeaderPos_ + scratch_.GetSize();
  scratch_.SetSize(0);
  ChunkHeader{}.Encode(version_, scratch_);
  chunkHeaderSize_ = static_cast<std::uint32_t>(scratch_.GetSize());
  return output_->Write(AsBytes(line)) && WriteFileHeader();
}

bool BagFileWriter::WriteFileHeader() {
  scratch_.SetSize(0);
  fileHeader_.Encode(version_, scratch_);
  isDirty_ = true;
  return WriteRecords(*output_, scratch_);
}

BagFileWriter::Result BagFileWriter::Write(const EventMsg& msg, std::uint64_t time,
                                           std::span<const std::uint8_t> payload) {
  const std::uint64_t recordSize = QorChunkManager::RecordSize(payload.size());
  if (recordSize > UINT32_MAX) {
    Failed("Write: the message is too long for a bag!");
    return Result::kFailed;
  }
  const auto connection = FindConnection(msg);
  if (!connection.has_value()) {
    return Result::kFailed;
  }
  if (isChunkOpen_ && chunk_.ChunkSize() + recordSize > UINT32_MAX) {
    if (const Result result = StopChunkWriting(); result != Result::kOk) {
      return result;
    }
  }
  if (!isChunkOpen_) {
    StartChunkWriting();
  }
  const bool isLast = chunkHeaderSize_ + chunk_.ChunkSize() + recordSize >= maxChunkSize_;
  chunk_.SetMessageRecord(*connection, time, payload, isLast);
  const Result result = isLast ? StopChunkWriting() : Result::kOk;
  if (result != Result::kOk) {
    Failed("Write: StopChunkWriting failed!");
  }
  return result;
}

void BagFileWriter::StartChunkWriting() {
  chunkPos_ = output_->Position();
  chunk_.Begin(chunkPos_ + chunkHeaderSize_, compressor_ != nullptr);
  isChunkOpen_ = true;
}

std::optional<std::uint32_t> BagFileWriter::FindConnection(const EventMsg& msg) {
  constexpr std::size_t kMaxKnown = 4096;
  if (const auto known = known_.find(msg.event.get()); known != known_.end()) {
    return known->second;
  }
  if (known_.size() == kMaxKnown) {  // a caller that describes the event of every message anew
    known_.clear();
    keptAlive_.clear();
  }
  const auto [entry, isNew] = ids_.try_emplace(IdentityOf(*msg.event), static_cast<std::uint32_t>(connections_.size()));
  if (isNew) {
    Connection connection;
    static_cast<EventDescription&>(connection) = *msg.event;
    connection.id = entry->second;
    scratch_.SetSize(0);
    if (!connection.Encode(version_, scratch_)) {  // later it would take its chunk with it
      ids_.erase(entry);
      return std::nullopt;
    }
    newConnections_.push_back(connection.id);
    connections_.push_back(std::move(connection));
  } else if (std::string& known = connections_[entry->second].msgDefinition; known.empty()) {
    known = msg.event->msgDefinition;  // the recorder may hear of it later than of the event
  }
  known_.emplace(msg.event.get(), entry->second);
  keptAlive_.push_back(msg.event);
  return entry->second;
}

BagFileWriter::Result BagFileWriter::StopChunkWriting() {
  isChunkOpen_ = false;
  const Result result = FinishChunk();
  if (result != Result::kOk) {
    lostMessages_ += chunk_.MessageCount();
  }
  return result;
}

BagFileWriter::Result BagFileWriter::FinishChunk() {
  compressedSize_ = 0;
  if (compressor_ != nullptr) {
    const auto records = chunk_.AllRecords();
    constexpr std::size_t kLongest = UINT32_MAX - sizeof(std::uint32_t);  // what the chunk header can say
    if (compressor_->TransferStream(records.data(), records.size(), compressed_, compressedSize_) != 0 ||
        compressedSize_ > kLongest) {
      Failed("StopChunkWriting: TransferChunkToStream failed!");
      return Result::kCompressionFailed;
    }
  }
  ChunkHeader header;
  if (!BuildChunkEnd(header)) {
    return Result::kFailed;
  }
  if (!WriteChunk(header)) {
    // Nothing of the chunk stays: what was written before it is a whole file.
    static_cast<void>(output_->Seek(chunkPos_) && output_->Truncate(chunkPos_));
    return Result::kFailed;
  }
  SetEventSumInfo();
  return Result::kOk;
}

/// Everything that stands behind the data of the chunk, and where.
bool BagFileWriter::BuildChunkEnd(ChunkHeader& header) {
  index_.SetSize(0);
  chunk_.EncodeIndex(version_, index_);
  header.chunkSize = static_cast<std::uint32_t>(chunk_.ChunkSize());
  header.chunkCompressedSize =
      compressor_ != nullptr ? static_cast<std::uint32_t>(compressedSize_ + sizeof(std::uint32_t)) : 0;
  header.connectionCount = static_cast<std::uint32_t>(chunk_.Info().counts.size());
  const std::uint64_t dataSize = compressor_ != nullptr ? header.chunkCompressedSize : header.chunkSize;
  header.chunkInfoRecordPos = chunkPos_ + chunkHeaderSize_ + dataSize + index_.GetSize();
  chunkInfoRecord_.SetSize(0);
  connectionRecords_.SetSize(0);
  if (version_ >= kWithChunkEndInfo && !WriteChunkEndInfoRecord()) {
    return false;
  }
  header.nextChunkPos = header.chunkInfoRecordPos + chunkInfoRecord_.GetSize() + connectionRecords_.GetSize();
  return true;
}

bool BagFileWriter::WriteChunkEndInfoRecord() {
  ChunkInfo info = chunk_.Info();
  info.chunkPos = chunkPos_;
  info.Encode(chunkInfoRecord_);
  if (newConnections_.empty()) {
    kLog.Debug() << "WriteChunkEndInfoRecord: currentChunkNewEventCount_ is zero!";
  }
  AppendNumber(connectionRecords_, static_cast<std::uint32_t>(newConnections_.size()));
  return std::ranges::all_of(newConnections_, [this](std::uint32_t id) {
    Connection connection = connections_[id];
    chunk_.AddStatistics(connection);
    return connection.Encode(version_, connectionRecords_);
  });
}

/// The header tells that the chunk is complete when it is.
bool BagFileWriter::WriteChunk(const ChunkHeader& header) {
  isDirty_ = true;
  if (!WriteChunkHeader(header)) {
    return false;
  }
  if (compressor_ != nullptr) {
    scratch_.SetSize(0);
    AppendNumber(scratch_, static_cast<std::uint32_t>(compressedSize_));
    if (!output_->Write(scratch_.Bytes()) || !output_->Write(std::span(compressed_).first(compressedSize_))) {
      return Failed("WriteChunk: write queueBuff failed!");
    }
  } else if (!output_->Write(chunk_.Records()) || !output_->Write(chunk_.LastPayload())) {
    return Failed("WriteChunk: write queueBuff failed!");
  }
  if (!output_->Write(index_.Bytes())) {
    return Failed("WriteChunk: write queueChunkIndex failed!");
  }
  if (version_ < kWithChunkEndInfo) {
    return true;
  }
  if (!output_->Write(chunkInfoRecord_.Bytes())) {
    return Failed("WriteChunk: write tempChunkInfo_ failed!");
  }
  if (!output_->Write(connectionRecords_.Bytes())) {
    return Failed("WriteChunk: write connxNum failed!");
  }
  ChunkHeader complete = header;
  complete.chunkStatus = kChunkComplete;
  const std::uint64_t end = output_->Position();
  return output_->Seek(chunkPos_) && WriteChunkHeader(complete) && output_->Seek(end);
}

bool BagFileWriter::WriteChunkHeader(const ChunkHeader& header) {
  scratch_.SetSize(0);
  header.Encode(version_, scratch_);
  return output_->Write(scratch_.Bytes()) || Failed("WriteChunk: write RecordHeader failed!");
}

void BagFileWriter::SetEventSumInfo() {
  newConnections_.clear();
  chunkInfos_.push_back(chunk_.Info());
  chunkInfos_.back().chunkPos = chunkPos_;
  for (const auto& [id, count] : chunkInfos_.back().counts) {
    chunk_.AddStatistics(connections_[id]);
  }
}

BagFileWriter::Result BagFileWriter::Close() {
  Result result = isChunkOpen_ ? StopChunkWriting() : Result::kOk;
  int error = errno;
  const auto note = [&](bool isDone) {
    if (!isDone && result == Result::kOk) {
      result = Result::kFailed;
      error = errno;
    }
  };
  note(WriteClosingIndex());
  note(output_->Close());
  output_ = nullptr;
  errno = error;
  return result;
}

bool BagFileWriter::WriteClosingIndex() {
  if (!output_->SeekEnd()) {
    kLog.Error() << "Bagfile " << name_ << " CloseWrite： fseeko SEEK_END failed!";
    return false;
  }
  fileHeader_.connectionPos = output_->Position();
  fileHeader_.connectionCount = static_cast<std::uint32_t>(connections_.size());
  fileHeader_.chunkCount = static_cast<std::uint32_t>(chunkInfos_.size());
  kLog.Info() << "Bagfile " << name_ << " start to write connection records.";
  scratch_.SetSize(0);
  const bool areEncoded =
      std::ranges::all_of(connections_, [this](const Connection& one) { return one.Encode(version_, scratch_); });
  if (!areEncoded || !WriteRecords(*output_, scratch_)) {
    kLog.Error() << "Bagfile " << name_ << " CloseWrite： write Connections failed!";
    return false;
  }
  kLog.Info() << "Bagfile " << name_ << " start to write chunk info records.";
  scratch_.SetSize(0);
  for (const ChunkInfo& info : chunkInfos_) {
    info.Encode(scratch_);
  }
  if (!WriteRecords(*output_, scratch_)) {
    kLog.Error() << "Bagfile " << name_ << " CloseWrite： write ChunkInfos failed!";
    return false;
  }
  return UpdateFileHeader();
}

bool BagFileWriter::UpdateFileHeader() {
  const RecordTimes stop = RecordTimes::Now();
  fileHeader_.stopRecordRealTime = stop.realTime;
  fileHeader_.stopRecordVirtualTime = stop.virtualTime;
  kLog.Info() << "Bagfile " << name_ << " start to update file header.";
  if (!output_->Seek(fileHeaderPos_)) {
    kLog.Error() << "Bagfile " << name_ << " CloseWrite： fseeko FileHeaderPos failed!";
    return false;
  }
  return WriteFileHeader();
}

std::uint64_t BagFileWriter::GetFileSize() const {
  const bool isSizeKnown = isChunkOpen_ && compressor_ == nullptr;
  return isSizeKnown ? chunkPos_ + chunkHeaderSize_ + chunk_.ChunkSize() : output_->Position();
}

bool BagFileWriter::Flush() { return output_->Flush(); }

bool BagFileWriter::Sync() {
  isDirty_ = !output_->Sync();
  return !isDirty_;
}

}  // namespace qor::qorbag
